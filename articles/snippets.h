// The parts of articles' texts that show why they were found.
#ifndef FENRA_ARTICLES_SNIPPETS_H
#define FENRA_ARTICLES_SNIPPETS_H

#include <string_view>
#include <vector>

#include "articles/handles.h"
#include "text/utf8.h"

namespace ostren::fenra::articles {

// A part of a text, which it borrows, and the bytes in it that match.
struct Snippet {
  std::string_view text;
  std::vector<text::TextRange> matches;
};

class Snippets {
 public:
  // Borrows the query. Throws Failure.
  Snippets(ArticledbDb* db, const ArticledbQuery* query);

  Snippet of(std::string_view text) const;

 private:
  Marker marker_;
};

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_SNIPPETS_H
