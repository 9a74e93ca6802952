#include "articles/snippets.h"

#include <new>

#include "articles/failure.h"

namespace ostren::fenra::articles {

constexpr guint32 kMostBytes = 240;

Snippets::Snippets(ArticledbDb* db, const ArticledbQuery* query)
    : marker_(articledb_query_marker_new(query, db)) {
  if (marker_ == nullptr) {
    fail_reading(db, "the store failed while the forms of the words were read");
  }
}

Snippet Snippets::of(std::string_view text) const {
  ArticledbQueryRange window = {};
  const ArticledbQueryRange* ranges = nullptr;
  guint32 count = 0;
  if (articledb_query_snippet(marker_.get(), text.data(), static_cast<guint32>(text.size()),
                              kMostBytes, &window, &ranges, &count) != 0) {
    throw std::bad_alloc();
  }
  Snippet snippet = {text.substr(window.begin, window.end - window.begin), {}};
  for (guint32 i = 0; i < count; ++i) {
    snippet.matches.push_back({ranges[i].begin - window.begin, ranges[i].end - window.begin});
  }
  return snippet;
}

}  // namespace ostren::fenra::articles
