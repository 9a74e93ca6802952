// Indexing inputs into an open store, one by one.
#ifndef FENRA_CLI_STORE_INDEXER_H
#define FENRA_CLI_STORE_INDEXER_H

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "cli/handles.h"
#include "cli/index_inputs.h"
#include "cli/input_article.h"
#include "cli/progress.h"
#include "cli/rules.h"

namespace cli {

class StoreIndexer {
 public:
  // Borrows all of it. With `skip_unchanged` what the store shows already is passed over, and
  // the others are indexed some at a time: whoever asks the store for something has it write the
  // articles that have just been indexed to its databases, which is costly for a single one.
  StoreIndexer(ArticledbDb* db, void* lemmatizer, bool skip_unchanged, Progress& progress);

  // Takes an input, or refuses it. Throws Failure when the store fails.
  void add(const Input& input);

  // Indexes what has been taken and not been indexed yet, until a stop is requested. Throws
  // Failure.
  void finish();

 private:
  using Article = std::unique_ptr<InputArticle>;

  void take(Article article);
  bool is_unchanged(const InputArticle& article) const;
  void index(const InputArticle& article);

  ArticledbDb* const db_;
  const ArticledbRules& rules_;
  void* const lemmatizer_;
  const bool skip_unchanged_;
  Progress& progress_;
  std::vector<Article> waiting_;
  std::set<std::string> waiting_urls_;
  uint64_t waiting_bytes_ = 0;
};

}  // namespace cli

#endif  // FENRA_CLI_STORE_INDEXER_H
