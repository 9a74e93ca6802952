// Indexing of one article.
#include <cerrno>
#include <memory>

#include "base/failed.h"
#include "base/handles.h"
#include "store/article/article.h"
#include "store/articledb.h"
#include "store/memory.h"
#include "store/process/environment.h"
#include "store/process/gate.h"
#include "store/writing/article_writer.h"

using namespace ostren::fenra;
using namespace ostren::fenra::store;

namespace {

using Transaction = std::unique_ptr<ArticledbTransaction, Releaser<articledb_transaction_abort>>;

// The article is safe in the log already, so a checkpoint that fails is only made later.
void checkpoint_now_and_then(ArticledbDb* db) {
  run_in_gate(db, [db] { return environment_checkpoint(db->env); });
}

int require_memory(ArticledbDb* db) {
  return db->memory != nullptr ? 0 : status_of([db] { db->memory = new ArticledbMemory; });
}

}  // namespace

int articledb_db_tell_writing(ArticledbDb* db, ArticledbWritingProgressFunc progress, void* state) {
  const int ret = require_memory(db);
  if (ret == 0) {
    db->memory->writing_progress = progress;
    db->memory->writing_state = state;
  }
  return ret;
}

int articledb_db_use_journal(ArticledbDb* db) {
  if (gate_only_reads(db)) {
    return EROFS;
  }
  const int ret = require_memory(db);
  if (ret != 0) {
    return ret;
  }
  db->memory->uses_journal = true;
  if (db->gate != nullptr) {
    gate_read_waiting(db);
  }
  return 0;
}

int articledb_db_index(ArticledbDb* db, GHashTable* metadata, ArticledbNextTokenFunc next_token,
                       void* tokenizer, ArticledbLemmatizerFunc lemmatize, void* lemmatizer) {
  ++db->submitted_articles;
  Transaction transaction(articledb_transaction_new());
  if (transaction == nullptr) {
    return -1;
  }
  articledb_transaction_begin(transaction.get(), db);
  Article article(metadata);
  db->submitted_length += article.raw_length();
  int ret = article.build_records();
  if (ret != 0) {
    return ret;
  }
  if (db->memory == nullptr) {
    return EINVAL;
  }
  const WordSource source = {next_token, tokenizer, lemmatize, lemmatizer,
                             WordSource::Asking::EVERY_TOKEN};
  ArticleWriter writer(transaction.get(), article.records(), source, db->memory->known_pairs.get(),
                       db->memory->uses_journal);
  bool exhausted = false;
  ret = writer.write(&exhausted);
  db->processed_tokens += writer.tokens_read();
  if (!exhausted) {
    return ret;
  }

  ++db->indexed_articles;
  db->indexed_tokens += writer.tokens_read();
  db->indexed_text_bytes += article.text_length();
  ret = articledb_transaction_commit(transaction.release());
  if (!writer.wrote_journal()) {
    checkpoint_now_and_then(db);
  }
  return ret;
}
