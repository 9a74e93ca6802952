#include "cli/store_indexer.h"

#include <utility>

#include "cli/failure.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

constexpr size_t kMostWaiting = 500;
constexpr uint64_t kMostWaitingBytes = 16 << 20;

void check(int status, const InputArticle& article) {
  if (status != 0) {
    throw Failure("the store failed at " + article.input().path + ": " + status_text(status));
  }
}

}  // namespace

StoreIndexer::StoreIndexer(ArticledbDb* db, void* lemmatizer, bool skip_unchanged,
                           Progress& progress)
    : db_(db),
      rules_(rules_of(db)),
      lemmatizer_(lemmatizer),
      skip_unchanged_(skip_unchanged),
      progress_(progress) {
  use_journal(db);
  if (skip_unchanged) {
    progress.count_unchanged();
  }
}

void StoreIndexer::add(const Input& input) {
  Article article;
  try {
    article = std::make_unique<InputArticle>(input, rules_);
  } catch (const Refused& refused) {
    return progress_.refused(input.path, refused.reason);
  }
  if (skip_unchanged_) {
    take(std::move(article));
  } else {
    index(*article);
  }
}

void StoreIndexer::finish() {
  for (auto article = waiting_.begin(); article != waiting_.end() && !stop_requested(); ++article) {
    index(**article);
  }
  // Writes them to the databases as a writer, who does not have the store keep its next ones short
  // for the sake of a reader that waits.
  if (!waiting_.empty()) {
    const int status = articledb_db_remove_logs(db_);
    if (status != 0) {
      throw Failure("the store failed at its log: " + status_text(status));
    }
  }
  waiting_.clear();
  waiting_urls_.clear();
  waiting_bytes_ = 0;
}

void StoreIndexer::take(Article article) {
  // It is to be compared with what its URL shows after those that come before it.
  if (waiting_urls_.count(article->url()) != 0) {
    finish();
  }
  if (is_unchanged(*article)) {
    return progress_.unchanged();
  }
  waiting_urls_.insert(article->url());
  waiting_bytes_ += article->bytes();
  waiting_.push_back(std::move(article));
  if (waiting_.size() == kMostWaiting || waiting_bytes_ > kMostWaitingBytes) {
    finish();
  }
}

bool StoreIndexer::is_unchanged(const InputArticle& article) const {
  const std::string text = article.text();
  // The article's own are for indexing.
  const Tokens tokens = tokens_of(rules_, text);
  int unchanged = 0;
  check(articledb_db_is_unchanged(db_, article.metadata(), rules_.next_token, tokens.get(),
                                  &unchanged),
        article);
  return unchanged != 0;
}

void StoreIndexer::index(const InputArticle& article) {
  check(articledb_db_index(db_, article.metadata(), rules_.next_token, article.tokenizer(),
                           rules_.first_lemma, lemmatizer_),
        article);
  progress_.indexed(article.bytes());
}

}  // namespace cli
