// Indexing of one article.
#include <glib.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "store/article.h"
#include "store/articledb.h"
#include "store/database.h"
#include "store/environment.h"
#include "store/gate.h"
#include "store/journal.h"
#include "store/journal_article.h"
#include "store/postings.h"
#include "store/url_index.h"

using ostren::fenra::store::append_journal_article;
using ostren::fenra::store::Article;
using ostren::fenra::store::article_read;
using ostren::fenra::store::Binding;
using ostren::fenra::store::build_text_record;
using ostren::fenra::store::DatabaseField;
using ostren::fenra::store::delete_records;
using ostren::fenra::store::environment_checkpoint;
using ostren::fenra::store::gate_admits_articles;
using ostren::fenra::store::gate_append_article;
using ostren::fenra::store::gate_generation;
using ostren::fenra::store::GlibReleaser;
using ostren::fenra::store::id_item;
using ostren::fenra::store::Journal;
using ostren::fenra::store::JOURNAL_RECORD_HEADER_BYTES;
using ostren::fenra::store::Postings;
using ostren::fenra::store::read_ids_of_url;
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
    return read_ids_of_url(db, {url.bytes, url.length}, &ids);
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

int put_article_records(ArticledbTransaction* t, const Article& article, const Text& url_record,
                        const TextRecord& text_record, guint64 id) {
  int ret = articledb_transaction_put_urlidx(t, id, article.url.bytes, article.url.length);
  if (ret == 0) {
    ret = articledb_transaction_put_url(t, url_record.bytes, url_record.length, id);
  }
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

// Writes one article: to the journal, if that takes it, and otherwise to the databases, in
// portions that each reach the disk before the next one begins. When the environment is
// built anew meanwhile, because a process died in it, whatever was not on disk is gone; the
// portion is then written again.
class ArticleWriter {
 public:
  ArticleWriter(ArticledbTransaction* t, const Article& article, const Text& url_record,
                const TextRecord& text_record, const TokenSource& tokens,
                const Lemmatizer& lemmatizer)
      : t_(t),
        article_(article),
        url_record_(url_record),
        text_record_(text_record),
        tokens_(tokens),
        lemmatizer_(lemmatizer),
        postings_(t->store->known_pairs) {}

  // Returns 0 when all is on disk; the code of a failed write; or what the source has
  // failed with, which may be 0 too. *exhausted tells that the source came to its end.
  int write(bool* exhausted) {
    int ret = write_to_journal();
    while (ret != 0 || source_status_ == ARTICLEDB_TOKEN_OK) {
      ret = write_portion();
      if (ret != 0) {
        *exhausted = false;
        return ret;
      }
      postings_.next_portion();
      started_ = true;
    }
    *exhausted = source_status_ == ARTICLEDB_TOKEN_END;
    return *exhausted ? 0 : source_status_;
  }

  guint32 tokens_read() const { return tokens_read_; }
  bool wrote_journal() const { return !started_; }

 private:
  // Whatever this fails for, the databases may do.
  int write_to_journal() {
    int ret = gate_admits_articles(t_->store);
    if (ret != 0) {
      return ret;
    }
    collect_postings();
    ret = source_status_ == ARTICLEDB_TOKEN_OK ? Journal::DECLINED : append_to_journal();
    if (ret == 0) {
      postings_.next_portion();
    }
    return ret;
  }

  int append_to_journal() {
    try {
      std::string record(JOURNAL_RECORD_HEADER_BYTES, '\0');
      if (!append_journal_article(article_, {url_record_.bytes, url_record_.length}, text_record_,
                                  postings_, &record)) {
        return Journal::DECLINED;
      }
      return gate_append_article(t_->store, &record, record.size() + postings_.growth(), &id_);
    } catch (const std::exception&) {
      return ENOMEM;
    }
  }

  int write_portion() {
    int ret;
    do {
      ret = run_in_gate(t_->store, [this] {
        generation_ = gate_generation(t_->store);
        return 0;
      });
      if (ret == 0 && !started_) {
        ret = write_records();
      }
      if (ret == 0 && !collected_) {
        collect_postings();
      }
      if (ret == 0) {
        ret = write_postings();
      }
    } while (ret == WRITES_LOST);
    collected_ = false;
    return ret;
  }

  // Another try draws another id: the first one may be somebody else's by now.
  int write_records() {
    const Binding binding(t_->store, generation_);
    int ret = articledb_transaction_next_id(t_, &id_);
    if (ret == 0) {
      ret = remove_earlier_articles(t_->store, article_.url);
    }
    return ret != 0 ? ret : put_article_records(t_, article_, url_record_, text_record_, id_);
  }

  // The token source and the lemmatizer are the host's, and run unbound.
  void collect_postings() {
    collected_ = true;
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
  const Article& article_;
  const Text& url_record_;
  const TextRecord& text_record_;
  const TokenSource& tokens_;
  const Lemmatizer& lemmatizer_;
  Postings postings_;
  guint64 generation_ = 0;  // of the environment that the portion is written to
  guint64 id_ = 0;
  bool started_ = false;    // the records are on disk
  bool collected_ = false;  // the portion's tokens have been read
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
  const std::unique_ptr<char, GlibReleaser> packed(
      articledb_pack_url_with_metadata(article.url.bytes, metadata));
  const Text url_record = {packed.get(), static_cast<guint32>(strlen(packed.get()))};
  const TokenSource tokens = {next_token, tokenizer};
  const Lemmatizer lemmas = {lemmatize, lemmatizer};
  ArticleWriter writer(t, article, url_record, text_record, tokens, lemmas);
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
  if (!writer.wrote_journal()) {
    checkpoint_now_and_then(db);
  }
  return ret;
}
