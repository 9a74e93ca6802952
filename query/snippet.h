// The part of a text that shows best why it was found.
#ifndef FENRA_QUERY_SNIPPET_H
#define FENRA_QUERY_SNIPPET_H

#include <string_view>
#include <vector>

#include "query/articledb_query.h"
#include "query/marker.h"

namespace ostren::fenra::query {

// articledb_query_snippet's window, for all matches in the text.
ArticledbQueryRange best_window(std::string_view text, const std::vector<Match>& matches,
                                guint32 most);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_SNIPPET_H
