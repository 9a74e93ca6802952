// Indexing of one article.
#include <glib.h>

#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <vector>

#include "store/article.h"
#include "store/articledb.h"
#include "store/database.h"
#include "store/environment.h"
#include "store/gate.h"
#include "store/postings.h"

using ostren::fenra::store::Article;
using ostren::fenra::store::article_read;
using ostren::fenra::store::Binding;
using ostren::fenra::store::build_text_record;
using ostren::fenra::store::DatabaseField;
using ostren::fenra::store::delete_records;
using ostren::fenra::store::environment_checkpoint;
using ostren::fenra::store::gate_generation;
using ostren::fenra::store::GlibReleaser;
using ostren::fenra::store::id_item;
using ostren::fenra::store::input_item;
using ostren::fenra::store::output_item;
using ostren::fenra::store::Postings;
using ostren::fenra::store::run_in_gate;
using ostren::fenra::store::Text;
using ostren::fenra::store::TextRecord;
using ostren::fenra::store::WRITES_LOST;

namespace {

struct TransactionAborter {
  void operator()(ArticledbTransaction* t) const { articledb_transaction_abort(t); }
};
struct StringListFreer {
  void operator()(GList* list) const { articledb_string_list_free(list); }
};

// ---- replacing earlier articles ----

// All ids ever stored for a URL, added to `ids`. The cursor is closed on return: a
// positioned one would stand in the way of writes.
int read_ids_of_url(ArticledbDb* db, const Text& url, std::vector<guint64>* ids) {
  DBC* opened = nullptr;
  const int ret = db->urlidx->cursor(db->urlidx, nullptr, &opened, 0);
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
  while ((read = cursor->get(cursor.get(), &key, &data, operation)) == 0) {
    try {
      ids->push_back(id);
    } catch (const std::bad_alloc&) {
      return -1;
    }
    operation = DB_NEXT_DUP;
  }
  return read == DB_NOTFOUND ? 0 : read;
}

int delete_if_present(ArticledbDb* db, DatabaseField database, guint64 id) {
  const int ret = delete_records(db, database, id_item(&id));
  return ret == DB_NOTFOUND ? 0 : ret;
}

// Removes the URL and text records of every earlier article of the URL. An
// earlier removal, or an indexing that failed, may have left either one missing.
int remove_earlier_articles(ArticledbDb* db, const Text& url) {
  std::vector<guint64> ids;
  int ret = run_in_gate(db, [&] {
    ids.clear();
    return read_ids_of_url(db, url, &ids);
  });
  for (auto id = ids.begin(); ret == 0 && id != ids.end(); ++id) {
    ret = delete_if_present(db, &ArticledbDb::urldb, *id);
    if (ret == 0) {
      ret = delete_if_present(db, &ArticledbDb::txtdb, *id);
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
  const std::unique_ptr<char, GlibReleaser> url_record(
      articledb_pack_url_with_metadata(article.url.bytes, metadata));
  ret = articledb_transaction_put_url(t, url_record.get(),
                                      static_cast<guint32>(strlen(url_record.get())), id);
  if (ret == 0) {
    ret = articledb_transaction_put_source(t, article.source.bytes, article.source.length, id);
  }
  if (ret == 0) {
    ret = articledb_transaction_put_date(t, article.date_number(), id);
  }
  if (ret == 0) {
    ret = articledb_transaction_put_txt(t, id, text_record.bytes.get(), text_record.length);
  }
  return ret;
}

struct TokenSource {
  ArticledbNextTokenFunc next_token;
  void* state;
};

struct Lemmatizer {
  ArticledbLemmatizerFunc lemmatize;
  void* state;
};

// Writes one article, in portions that each reach the disk before the next one
// begins. When the environment is built anew meanwhile, because a process died in it,
// whatever was not on disk is gone; the portion is then written again.
class ArticleWriter {
 public:
  ArticleWriter(ArticledbTransaction* t, GHashTable* metadata, const Article& article,
                const TextRecord& text_record, const TokenSource& tokens,
                const Lemmatizer& lemmatizer)
      : t_(t),
        metadata_(metadata),
        article_(article),
        text_record_(text_record),
        tokens_(tokens),
        lemmatizer_(lemmatizer),
        postings_(t->store->known_pairs) {}

  // Returns 0 when all is on disk; the code of a failed write; or what the source has
  // failed with, which may be 0 too. *exhausted tells that the source came to its end.
  int write(bool* exhausted) {
    int ret = 0;
    *exhausted = false;
    do {
      ret = write_portion();
      if (ret != 0) {
        return ret;
      }
      postings_.next_portion();
      started_ = true;
    } while (source_status_ == ARTICLEDB_TOKEN_OK);
    *exhausted = source_status_ == ARTICLEDB_TOKEN_END;
    return *exhausted ? 0 : source_status_;
  }

  guint32 tokens_read() const { return tokens_read_; }

 private:
  int write_portion() {
    bool collected = false;
    int ret;
    do {
      ret = run_in_gate(t_->store, [this] {
        generation_ = gate_generation(t_->store);
        return 0;
      });
      if (ret == 0 && !started_) {
        ret = write_records();
      }
      if (ret == 0 && !collected) {
        collect_postings();
        collected = true;
      }
      if (ret == 0) {
        ret = write_postings();
      }
    } while (ret == WRITES_LOST);
    return ret;
  }

  // Another try draws another id: the first one may be somebody else's by now.
  int write_records() {
    const Binding binding(t_->store, generation_);
    int ret = articledb_transaction_next_id(t_, &id_);
    if (ret == 0) {
      ret = remove_earlier_articles(t_->store, article_.url);
    }
    return ret != 0 ? ret : put_article_records(t_, metadata_, article_, text_record_, id_);
  }

  // The token source and the lemmatizer are the host's, and run unbound.
  void collect_postings() {
    while (!postings_.is_full()) {
      const char* token = nullptr;
      int length = 0;
      source_status_ = tokens_.next_token(tokens_.state, &token, &length);
      if (source_status_ != ARTICLEDB_TOKEN_OK) {
        return;
      }
      ++tokens_read_;
      const std::unique_ptr<GList, StringListFreer> lemmas(
          lemmatizer_.lemmatize(lemmatizer_.state, token, length));
      try {
        postings_.add_token(token, length, lemmas.get());
      } catch (const std::exception&) {
        source_status_ = -1;
        return;
      }
    }
  }

  int write_postings() {
    const Binding binding(t_->store, generation_);
    const int ret = postings_.write(t_, id_);
    if (ret != 0) {
      return ret;
    }
    DB_ENV* const* env = &t_->store->env;
    return run_in_gate(t_->store, [env] { return (*env)->log_flush(*env, nullptr); });
  }

  ArticledbTransaction* const t_;
  GHashTable* const metadata_;
  const Article& article_;
  const TextRecord& text_record_;
  const TokenSource& tokens_;
  const Lemmatizer& lemmatizer_;
  Postings postings_;
  guint64 generation_ = 0;  // of the environment that the portion is written to
  guint64 id_ = 0;
  bool started_ = false;
  int source_status_ = ARTICLEDB_TOKEN_OK;
  guint32 tokens_read_ = 0;
};

// Bounds what recovery has to replay, and the room that the log takes on a small disk. The
// article is safe in the log already, so a checkpoint that fails is only made later.
void checkpoint_now_and_then(ArticledbDb* db) {
  constexpr guint32 CHECKPOINT_KIB = 8192;
  run_in_gate(db, [db] { return environment_checkpoint(db->env, CHECKPOINT_KIB); });
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
  const Article article = article_read(metadata);
  db->submitted_length += article.raw_length;
  if (!article.complete()) {
    return STATUS_MISSING_METADATA;
  }

  TextRecord text_record;
  int ret = build_text_record(article.txt, &text_record);
  if (ret != 0) {
    return ret;
  }
  if (db->known_pairs == nullptr) {
    db->known_pairs = new (std::nothrow) ArticledbKnownPairs;
    if (db->known_pairs == nullptr) {
      return -1;
    }
  }
  const TokenSource tokens = {next_token, tokenizer};
  const Lemmatizer lemmas = {lemmatize, lemmatizer};
  ArticleWriter writer(t, metadata, article, text_record, tokens, lemmas);
  bool exhausted = false;
  ret = writer.write(&exhausted);
  db->processed_tokens += writer.tokens_read();
  if (!exhausted) {
    return ret;
  }

  ++db->indexed_articles;
  db->indexed_tokens += writer.tokens_read();
  db->indexed_text_bytes += article.txt.length;
  ret = articledb_transaction_commit(transaction.release());
  checkpoint_now_and_then(db);
  return ret;
}
