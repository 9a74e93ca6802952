// Indexing inputs into an open store, one by one.
#ifndef FENRA_CLI_STORE_INDEXER_H
#define FENRA_CLI_STORE_INDEXER_H

#include <string>

#include "cli/handles.h"
#include "cli/input.h"
#include "cli/input_article.h"
#include "cli/progress.h"
#include "cli/rules.h"

namespace cli {

class StoreIndexer {
 public:
  // Borrows all of it. With `skip_unchanged` what the store shows already is passed
  // over; the day of a visit is not compared.
  StoreIndexer(ArticledbDb* db, void* lemmatizer, bool skip_unchanged, Progress& progress);

  // Indexes an input, or refuses it. Throws Failure when the store fails.
  void add(const Input& input);

 private:
  bool is_unchanged(const InputArticle& article) const;
  std::string shown_date(const std::string& url) const;
  void index(const InputArticle& article);

  ArticledbDb* const db_;
  const ArticledbRules& rules_;
  void* const lemmatizer_;
  const bool skip_unchanged_;
  Progress& progress_;
};

}  // namespace cli

#endif  // FENRA_CLI_STORE_INDEXER_H
