// The search facade: open an instance over a store directory, hand it articles,
// ask queries and iterate the URLs of the answer.
//
//   std::unique_ptr<Fenra> fenra(Fenra::createInstance("/var/lib/articles"));
//   fenra->index("https://example.eus/1", "Etxe zuria da", "text/plain");
//   std::unique_ptr<ResultIterator> results(fenra->lookup("etxea"));
//   while (const char* url = results->next()) puts(url);
//
// An instance, and every iterator made from it, is used by one thread at a time.
// Iterators share the instance's store and lexicon and keep them alive, so they
// go on working after the instance has been closed.
#ifndef FENRA_FENRA_H
#define FENRA_FENRA_H

#include <fenra/articledb.h>
#include <fenra/articledb_generator.h>
#include <fenra/articledb_lemmatizer.h>
#include <fenra/articledb_rules.h>
#include <fenra/articledb_util.h>
#include <fenra/embedded_lexicon.h>
#include <fenra/export.h>
#include <fenra/ostren_generator.h>
#include <fenra/temporary_file.h>
#include <unistd.h>

#include <cassert>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <string_view>

namespace ostren {
namespace fenra {

enum FenraErrorCode : int32_t {
  FENRA_NO_ERROR = 0,
  // The store is open but the lexicon could not be loaded.
  FENRA_LEXICON_ERROR = 1,
  // The store could not be created nor opened; also the result of every failed
  // index() call and of index() on a closed instance.
  FENRA_ERROR = 2,
};

// The URLs of one query's answer, in ascending order of article id.
class ResultIterator {
 public:
  // The next URL, zero-terminated, or null when there are no more; null at every
  // later call too. The string is the iterator's and valid until the next call
  // of next() or close(). A failing store ends the answer like its end.
  virtual const char* next() = 0;

  // Releases what the iterator holds. A second call does nothing.
  virtual void close() = 0;

  virtual ~ResultIterator() = default;
};

class Fenra {
 public:
  virtual ~Fenra() = default;

  // The instance's error state; on a closed instance, the one at its closing.
  virtual FenraErrorCode error() = 0;

  // Stores one article by the store's rules of words, durably: FENRA_NO_ERROR only
  // when all of it is in the store's log on disk. `text` has at most INT_MAX bytes.
  // An article with the same URL is replaced. FENRA_ERROR for a null argument, a
  // text that is empty or too long, a failing store, and by the rules "plain" for a
  // text that is not UTF-8, HTML without title and body, and a `mime` that begins with
  // neither "text/plain" nor "text/html"; by the rules "web" for a page without text.
  virtual FenraErrorCode index(const char* url, const char* text, const char* mime) = 0;

  // The articles that hold, for every word in `query`, some form of that word's
  // lemma. By the rules "plain" a word is a run of letters; by the rules "web" it is what
  // it is in a text, and a compound with a letter in it is found by all of its parts too:
  // "eremu-izenak" finds "eremu" and "izena". The caller deletes the iterator. Null on a closed
  // instance only; a null query is an empty one, and its answer is empty.
  virtual ResultIterator* lookup(const char* query) = 0;

  // Drops the instance's hold on store and lexicon. A second call does nothing.
  virtual void close() = 0;

  // Creates the store in `path`, which must not exist then, or opens the one that
  // is there. A new one has the rules of words "plain"; to make one with others, call
  // articledb_db_create_with_rules before. `kind` 0 selects the only implementation; any other kind
  // gives null. Otherwise never null: an instance whose store or lexicon failed is returned closed,
  // and error() says which. The caller deletes it.
  FENRA_API static Fenra* createInstance(int kind, const char* path);
  FENRA_API static Fenra* createInstance(const char* path);
};

// What an instance and its iterators share: the open store and the lemmatizer.
// Deleted by the last decRef().
class FenraData {
 public:
  FenraData(const char* path, const char* lexiconPath) {
    if (path == nullptr) {
      return;
    }
    db = createDB(path);
    if (db == nullptr) {
      db = openDB(path);
    }
    if (db != nullptr && articledb_db_get_rules(db, &rules) != 0) {
      articledb_db_close(db);
      db = nullptr;
    }
    if (db != nullptr && lexiconPath != nullptr) {
      lemmatizer = articledb_simple_fst_lemmatizer_new(lexiconPath);
    }
  }

  ~FenraData() {
    if (db != nullptr) {
      articledb_db_close(db);
    }
    if (lemmatizer != nullptr) {
      articledb_simple_fst_lemmatizer_free(lemmatizer);
    }
  }

  FenraData(const FenraData&) = delete;
  FenraData& operator=(const FenraData&) = delete;

  void incRef() { ++refCount; }

  void decRef() {
    if (--refCount < 1) {
      delete this;
    }
  }

  FenraErrorCode error() const {
    if (db == nullptr) {
      return FENRA_ERROR;
    }
    return lemmatizer == nullptr ? FENRA_LEXICON_ERROR : FENRA_NO_ERROR;
  }

  // A new handle on the created or opened store, or null.
  ArticledbDb* openCreateDB(const char* path, bool create) {
    ArticledbDb* handle = articledb_db_new();
    if (handle == nullptr) {
      return nullptr;
    }
    int status = articledb_db_use_journal(handle);
    if (status == 0) {
      status = create ? articledb_db_create(handle, path) : articledb_db_open(handle, path);
    }
    if (status == 0) {
      return handle;
    }
    articledb_db_close(handle);
    return nullptr;
  }
  ArticledbDb* createDB(const char* path) { return openCreateDB(path, true); }
  ArticledbDb* openDB(const char* path) { return openCreateDB(path, false); }

  // As Fenra::index.
  FenraErrorCode index(const char* url, const char* text, const char* mime) {
    if (url == nullptr || text == nullptr || mime == nullptr) {
      return FENRA_ERROR;
    }
    const size_t length = strlen(text);
    if (length > INT_MAX) {
      return FENRA_ERROR;
    }
    std::unique_ptr<GHashTable, void (*)(GHashTable*)> metadata(
        g_hash_table_new(g_str_hash, g_str_equal), g_hash_table_destroy);
    insert(metadata.get(), "_url", url);
    insert(metadata.get(), "source", "");
    insert(metadata.get(), "date", "");
    insert(metadata.get(), "lang", "eu");
    insert(metadata.get(), "mime", mime);

    // Destroyed before the text that it walks.
    std::unique_ptr<char, void (*)(void*)> txt(nullptr, g_free);
    char* reason = nullptr;
    std::unique_ptr<void, void (*)(void*)> tokenizer(
        rules->tokenizer_new_with_metadata_and_data(metadata.get(), text, static_cast<int>(length),
                                                    &reason),
        rules->tokenizer_free);
    g_free(reason);
    txt.reset(static_cast<char*>(g_hash_table_lookup(metadata.get(), "_txt")));
    if (tokenizer == nullptr) {
      return FENRA_ERROR;
    }
    const int status = articledb_db_index(db, metadata.get(), rules->next_token, tokenizer.get(),
                                          rules->first_lemma, lemmatizer);
    if (status != 0) {
      return FENRA_ERROR;
    }
    assert(txt);
    return FENRA_NO_ERROR;
  }

  // As Fenra::lookup, never null.
  FENRA_API ResultIterator* lookup(const char* query);

  // The id stream of a query, or null when it has no word or no word's lookup
  // succeeded. By the rules "plain" a word is a run of bytes that isalpha() takes for
  // letters in the process's locale. The caller owns the stream.
  OstrenGenerator* parse_query(const char* query) {
    if (strcmp(rules->name, ARTICLEDB_RULES_PLAIN) != 0) {
      return parse_tokens(query);
    }
    OstrenGenerator* result = nullptr;
    // A word that was asked for before is in the result already; a stream for each
    // repetition would take kilobytes.
    std::set<std::string_view> words;
    const char* start = query;
    while (*start != '\0') {
      if (!isLetter(*start)) {
        ++start;
        continue;
      }
      const char* end = start;
      while (isLetter(*end)) {
        ++end;
      }
      const std::string_view word(start, static_cast<size_t>(end - start));
      if (words.count(word) == 0) {
        OstrenGenerator* stream =
            lookup_lemma_from_form(start, static_cast<unsigned int>(word.size()));
        if (stream != nullptr) {
          words.insert(word);
        }
        result = intersection(result, stream);
      }
      start = end;
    }
    return result;
  }

  // The articles that hold some form of the first lemma of `form`; null when a
  // lookup in the store fails. The caller owns the stream.
  OstrenGenerator* lookup_lemma_from_form(const char* form, unsigned int length) {
    GList* lemmas = rules->first_lemma(lemmatizer, form, static_cast<int>(length));
    const char* key = form;
    guint32 keyLength = length;
    if (lemmas != nullptr) {
      key = static_cast<const char*>(lemmas->data);
      keyLength = static_cast<guint32>(strlen(key));
    }
    OstrenGenerator* stream = articledb_db_lemma_lookup_generator_new(db, key, keyLength);
    articledb_string_list_free(lemmas);
    return stream;
  }

  int32_t refCount = 0;
  ArticledbDb* db = nullptr;
  void* lemmatizer = nullptr;
  const ArticledbRules* rules = articledb_rules_by_name(ARTICLEDB_RULES_PLAIN);  // the store's

 private:
  static bool isLetter(char byte) { return isalpha(static_cast<unsigned char>(byte)) != 0; }

  // The table does not own its values, which it takes as non-const.
  static void insert(GHashTable* table, const char* key, const char* value) {
    g_hash_table_insert(table, const_cast<char*>(key), const_cast<char*>(value));
  }

  // parse_query by the tokens of the rules.
  FENRA_API OstrenGenerator* parse_tokens(const char* query);

  // A null stream is a failed lookup: its word is dropped.
  static OstrenGenerator* intersection(OstrenGenerator* result, OstrenGenerator* stream) {
    if (result == nullptr) {
      return stream;
    }
    return stream == nullptr ? result : articledb_guint64_cutter_new(result, stream);
  }
};

class ResultIteratorBasic : public ResultIterator {
 public:
  // Takes over `generator` (may be null) and a reference on `data` (may be null).
  ResultIteratorBasic(OstrenGenerator* generator_, FenraData* data_)
      : generator(generator_), data(data_), buffer(new char[URL_BUFFER_SIZE]) {
    if (data != nullptr) {
      data->incRef();
    }
  }

  ResultIteratorBasic(const ResultIteratorBasic&) = delete;
  ResultIteratorBasic& operator=(const ResultIteratorBasic&) = delete;

  const char* next() override {
    if (isClosed()) {
      return nullptr;
    }
    void* item = nullptr;
    while (ostren_generator_next(generator, &item) == 1) {
      const guint64 id = *static_cast<const guint64*>(item);
      guint32 size = URL_BUFFER_SIZE;
      // An id whose record is missing, too long or without metadata is skipped.
      if (articledb_db_lookup_id_to_url(data->db, id, buffer, &size) != 0) {
        continue;
      }
      char* bar = static_cast<char*>(memchr(buffer, '|', size));
      if (bar != nullptr) {
        *bar = '\0';
        return buffer;
      }
    }
    this->close();
    return nullptr;
  }

  void close() override {
    if (generator != nullptr) {
      ostren_generator_free(generator);
      generator = nullptr;
    }
    if (data != nullptr) {
      data->decRef();
      data = nullptr;
    }
    delete[] buffer;
    buffer = nullptr;
  }

  ~ResultIteratorBasic() override { ResultIteratorBasic::close(); }

  bool isClosed() const { return data == nullptr || generator == nullptr; }

  // Bytes of a URL record, metadata included, that an answer can hold.
  FENRA_API static const int URL_BUFFER_SIZE = 512;

 private:
  OstrenGenerator* generator;  // owned; null when the query has no stream
  FenraData* data;             // one reference
  char* buffer;                // owned; the URL that next() returned last
};

class FenraBasic : public Fenra {
 public:
  FenraBasic(const char* path, const char* lexiconPath)
      : lastError(FENRA_NO_ERROR), data(new FenraData(path, lexiconPath)) {
    data->incRef();
    if (data->error() != FENRA_NO_ERROR) {
      FenraBasic::close();
    }
  }

  ~FenraBasic() override { FenraBasic::close(); }

  FenraBasic(const FenraBasic&) = delete;
  FenraBasic& operator=(const FenraBasic&) = delete;

  FenraErrorCode error() override { return isClosed() ? lastError : data->error(); }

  FenraErrorCode index(const char* url, const char* text, const char* mime) override {
    return isClosed() ? FENRA_ERROR : data->index(url, text, mime);
  }

  ResultIterator* lookup(const char* query) override {
    return isClosed() ? nullptr : data->lookup(query);
  }

  void close() override {
    if (isClosed()) {
      return;
    }
    lastError = data->error();
    data->decRef();
    data = nullptr;
  }

  bool isClosed() const { return data == nullptr; }

 private:
  FenraErrorCode lastError;
  FenraData* data;  // one reference; null once closed
};

}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_FENRA_H
