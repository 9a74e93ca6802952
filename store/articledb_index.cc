// Indexing of one article.
#include <glib.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "store/article/article.h"
#include "store/article/postings.h"
#include "store/articledb.h"
#include "store/process/environment.h"
#include "store/process/gate.h"
#include "store/writing/article_version.h"
#include "store/writing/journal.h"
#include "store/writing/journal_article.h"

using namespace ostren::fenra::store;

namespace {

struct TransactionAborter {
  void operator()(ArticledbTransaction* t) const { articledb_transaction_abort(t); }
};
struct StringListFreer {
  void operator()(GList* list) const { articledb_string_list_free(list); }
};

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
    if (ret != 0) {
      ret = write_to_databases();
    }
    *exhausted = ret == 0 && source_status_ == ARTICLEDB_TOKEN_END;
    return ret != 0 || *exhausted ? ret : source_status_;
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

  // An article of a new URL gets its records first, and is found by more and more of its
  // words; one that replaces another is shown when all of its words are on the disk.
  int write_to_databases() {
    do {
      const int ret = write_portion();
      if (ret != 0) {
        return ret;
      }
      postings_.next_portion();
      started_ = true;
    } while (source_status_ == ARTICLEDB_TOKEN_OK);
    return shown_ ? 0 : replace_earlier_articles();
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
      ret = run_in_gate(t_->store,
                        [this] { return put_first_version(t_->store, version(), &shown_); });
      report(ret);
    }
    return ret;
  }

  int replace_earlier_articles() {
    const int ret =
        run_in_gate(t_->store, [this] { return put_next_version(t_->store, version()); });
    report(ret);
    return ret;
  }

  ArticleVersion version() const {
    return {id_,
            {article_.url.bytes, article_.url.length},
            {article_.source.bytes, article_.source.length},
            article_.date_number(),
            {url_record_.bytes, url_record_.length},
            {text_record_.bytes.get(), text_record_.length}};
  }

  void report(int code) const {
    DB_ENV* env = t_->store->env;
    if (code != 0 && code != WRITES_LOST && env != nullptr) {
      env->err(env, code, "the records of the article '%s' cannot be written", article_.url.bytes);
    }
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
  bool started_ = false;    // the first portion is on disk
  bool shown_ = false;      // the records are in the store
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
