// The articles of an answer, in the order that was asked for.
#ifndef FENRA_CLI_SEARCH_RESULTS_H
#define FENRA_CLI_SEARCH_RESULTS_H

#include <cstdint>
#include <functional>

#include "cli/store.h"

namespace cli {

enum class Order {
  INDEXING,  // ascending ids; articles are read while they are shown
  NEWEST,    // descending ids
  DATE       // the latest first, among those of a day the newest, and at the end those without
};

struct Page {
  Order order = Order::INDEXING;
  uint64_t after = 0;  // the id of the article that is before it in the order; 0: from the first
  uint64_t limit = UINT64_MAX;
};

// Calls `visit(id, article)` for the articles of a page of the answer. Replaced ones are left out.
// Throws Failure when the stream is null or fails.
void visit_articles(ArticledbDb* db, Stream stream, const Page& page,
                    const std::function<void(uint64_t, const Article&)>& visit);

}  // namespace cli

#endif  // FENRA_CLI_SEARCH_RESULTS_H
