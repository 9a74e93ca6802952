#include "cli/store_indexer.h"

#include <optional>

#include "cli/failure.h"
#include "cli/store.h"

namespace cli {
namespace {

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
  if (skip_unchanged) {
    progress.count_unchanged();
  }
}

void StoreIndexer::add(const Input& input) {
  std::optional<InputArticle> article;
  try {
    article.emplace(input, rules_);
  } catch (const Refused& refused) {
    return progress_.refused(input.path, refused.reason);
  }
  if (skip_unchanged_ && is_unchanged(*article)) {
    return progress_.unchanged();
  }
  index(*article);
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
