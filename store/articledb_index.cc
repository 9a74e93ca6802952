// Indexing of one article.
#include <glib.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "store/articledb.h"
#include "store/database.h"

using ostren::fenra::store::delete_records;
using ostren::fenra::store::id_item;
using ostren::fenra::store::input_item;
using ostren::fenra::store::output_item;
using ostren::fenra::store::retry_deadlock;

namespace {

struct TransactionAborter {
  void operator()(ArticledbTransaction* t) const { articledb_transaction_abort(t); }
};
struct GFreer {
  void operator()(void* p) const { g_free(p); }
};
struct StringListFreer {
  void operator()(GList* list) const { articledb_string_list_free(list); }
};

// A string of the metadata with its length.
struct Text {
  const char* bytes = nullptr;
  guint32 length = 0;
};

struct Article {
  Text source;
  Text url;
  Text date;
  Text lang;
  Text txt;
  guint32 raw_length = 0;

  bool complete() const {
    return source.bytes != nullptr && url.bytes != nullptr && date.bytes != nullptr &&
           lang.bytes != nullptr && txt.bytes != nullptr && raw_length != 0;
  }
};

Text lookup_text(GHashTable* metadata, const char* key) {
  Text text;
  text.bytes = static_cast<const char*>(g_hash_table_lookup(metadata, key));
  text.length = text.bytes == nullptr ? 0 : static_cast<guint32>(strlen(text.bytes));
  return text;
}

Article read_metadata(GHashTable* metadata) {
  Article article;
  article.source = lookup_text(metadata, "source");
  article.url = lookup_text(metadata, "_url");
  article.date = lookup_text(metadata, "date");
  article.lang = lookup_text(metadata, "lang");
  article.txt = lookup_text(metadata, "_txt");
  article.raw_length = GPOINTER_TO_UINT(g_hash_table_lookup(metadata, "_length"));
  return article;
}

struct TextRecord {
  std::unique_ptr<char, GFreer> bytes;
  guint32 length = 0;
};

// On disk: the text's length, 4 bytes in the machine's order, and its zlib
// stream. Returns 0, -1 when memory is short, or zlib's code.
int build_text_record(const Text& text, TextRecord* record) {
  uLongf compressed = compressBound(text.length);
  record->bytes.reset(static_cast<char*>(g_try_malloc(sizeof text.length + compressed)));
  char* bytes = record->bytes.get();
  if (bytes == nullptr) {
    return -1;
  }
  memcpy(bytes, &text.length, sizeof text.length);
  const int ret = compress(reinterpret_cast<Bytef*>(bytes + sizeof text.length), &compressed,
                           reinterpret_cast<const Bytef*>(text.bytes), text.length);
  record->length = static_cast<guint32>(sizeof text.length + compressed);
  return ret;
}

// ---- replacing earlier articles ----

// All ids ever stored for a URL. The cursor is closed on return: a positioned one
// would block this thread's own writes for ever.
int read_ids_of_url(ArticledbTransaction* t, const Text& url, std::vector<guint64>* ids) {
  DB* urlidx = t->store->urlidx;
  DBC* opened = nullptr;
  const int ret = urlidx->cursor(urlidx, t->txn, &opened, 0);
  if (ret != 0) {
    return ret;
  }
  struct Closer {
    void operator()(DBC* c) const { c->close(c); }
  };
  const std::unique_ptr<DBC, Closer> cursor(opened);
  DBT key = input_item(url.bytes, url.length);
  guint64 id = 0;
  DBT data = output_item(&id, sizeof id);
  guint32 operation = DB_SET;
  int read;
  while ((read = retry_deadlock(
              [&] { return cursor->get(cursor.get(), &key, &data, operation); })) == 0) {
    ids->push_back(id);
    operation = DB_NEXT_DUP;
  }
  return read == DB_NOTFOUND ? 0 : read;
}

int delete_if_present(DB* database, DB_TXN* txn, guint64 id) {
  const int ret = delete_records(database, txn, id_item(&id));
  return ret == DB_NOTFOUND ? 0 : ret;
}

// Removes the URL and text records of every earlier article of the URL. An
// earlier removal, or an indexing that failed, may have left either one missing.
int remove_earlier_articles(ArticledbTransaction* t, const Text& url) {
  std::vector<guint64> ids;
  int ret;
  try {
    ret = read_ids_of_url(t, url, &ids);
  } catch (const std::bad_alloc&) {
    return -1;
  }
  for (auto id = ids.begin(); ret == 0 && id != ids.end(); ++id) {
    ret = delete_if_present(t->store->urldb, t->txn, *id);
    if (ret == 0) {
      ret = delete_if_present(t->store->txtdb, t->txn, *id);
    }
  }
  return ret;
}

// ---- writing ----

int put_article_records(ArticledbTransaction* t, GHashTable* metadata, const Article& article,
                        const TextRecord& text_record, guint64 id) {
  int ret = articledb_transaction_put_urlidx(t, id, article.url.bytes, article.url.length);
  if (ret != 0) {
    return ret;
  }
  const std::unique_ptr<char, GFreer> url_record(
      articledb_pack_url_with_metadata(article.url.bytes, metadata));
  ret = articledb_transaction_put_url(t, url_record.get(),
                                      static_cast<guint32>(strlen(url_record.get())), id);
  if (ret == 0) {
    ret = articledb_transaction_put_source(t, article.source.bytes, article.source.length, id);
  }
  if (ret == 0) {
    const auto date = static_cast<guint32>(strtol(article.date.bytes, nullptr, 10));
    ret = articledb_transaction_put_date(t, date, id);
  }
  if (ret == 0) {
    ret = articledb_transaction_put_txt(t, id, text_record.bytes.get(), text_record.length);
  }
  return ret;
}

struct Lemmatizer {
  ArticledbLemmatizerFunc lemmatize;
  void* state;
};

int post_token(ArticledbTransaction* t, guint64 id, const char* token, int length,
               TrigramBuilder* trigrams, const Lemmatizer& lemmatizer) {
  const auto token_length = static_cast<guint32>(length);
  int ret = articledb_transaction_put_form(t, token, token_length, id);
  const char* trigram = nullptr;
  int trigram_length = 0;
  if (ret == 0 &&
      trigram_builder_next_trigram(trigrams, token, length, &trigram, &trigram_length) != 0) {
    ret = articledb_transaction_put_trigram(t, trigram, static_cast<guint32>(trigram_length), id);
  }
  if (ret != 0) {
    return ret;
  }
  const std::unique_ptr<GList, StringListFreer> lemmas(
      lemmatizer.lemmatize(lemmatizer.state, token, length));
  for (const GList* lemma = lemmas.get(); ret == 0 && lemma != nullptr; lemma = lemma->next) {
    const auto* string = static_cast<const char*>(lemma->data);
    ret = articledb_transaction_put_lemma(t, string, static_cast<guint32>(strlen(string)), token,
                                          token_length);
  }
  return ret;
}

// What became of a token source.
struct TokenRun {
  guint32 tokens = 0;      // tokens read
  bool exhausted = false;  // the source came to its end and all tokens are posted
};

// Posts every token of the source. Returns the code of a failed write, or the
// source's own value when it failed, which may be 0 too.
int post_tokens(ArticledbTransaction* t, guint64 id, ArticledbNextTokenFunc next_token,
                void* tokenizer, const Lemmatizer& lemmatizer, TokenRun* run) {
  TrigramBuilder trigrams;
  trigram_builder_init(&trigrams);
  const char* token = nullptr;
  int length = 0;
  int status;
  while ((status = next_token(tokenizer, &token, &length)) == ARTICLEDB_TOKEN_OK) {
    ++t->store->processed_tokens;
    ++run->tokens;
    const int ret = post_token(t, id, token, length, &trigrams, lemmatizer);
    if (ret != 0) {
      return ret;
    }
  }
  run->exhausted = status == ARTICLEDB_TOKEN_END;
  return run->exhausted ? 0 : status;
}

// Bounds what recovery has to replay. The article is safe in the log already, so
// a checkpoint that fails is only made later.
void checkpoint_now_and_then(DB_ENV* env) {
  constexpr guint32 CHECKPOINT_KIB = 32768;
  env->txn_checkpoint(env, CHECKPOINT_KIB, 0, 0);
}

}  // namespace

int articledb_db_index(ArticledbDb* db, GHashTable* metadata, ArticledbNextTokenFunc next_token,
                       void* tokenizer, ArticledbLemmatizerFunc lemmatize, void* lemmatizer) {
  ++db->submitted_articles;
  std::unique_ptr<ArticledbTransaction, TransactionAborter> transaction(
      articledb_transaction_new());
  ArticledbTransaction* t = transaction.get();
  if (t == nullptr) {
    return -1;
  }
  articledb_transaction_begin(t, db);
  const Article article = read_metadata(metadata);
  db->submitted_length += article.raw_length;
  if (!article.complete()) {
    return STATUS_MISSING_METADATA;
  }

  TextRecord text_record;
  int ret = build_text_record(article.txt, &text_record);
  guint64 id = 0;
  if (ret == 0) {
    ret = articledb_transaction_next_id(t, &id);
  }
  if (ret == 0) {
    ret = remove_earlier_articles(t, article.url);
  }
  if (ret == 0) {
    ret = put_article_records(t, metadata, article, text_record, id);
  }
  TokenRun run;
  if (ret == 0) {
    ret = post_tokens(t, id, next_token, tokenizer, {lemmatize, lemmatizer}, &run);
  }
  if (run.exhausted) {
    ret = db->env->log_flush(db->env, nullptr);
  }
  if (ret != 0 || !run.exhausted) {
    return ret;
  }

  ++db->indexed_articles;
  db->indexed_tokens += run.tokens;
  db->indexed_text_bytes += article.txt.length;
  ret = articledb_transaction_commit(transaction.release());
  checkpoint_now_and_then(db->env);
  return ret;
}
