// The parts of articles' texts that show why they were found.
#ifndef FENRA_CLI_SNIPPETS_H
#define FENRA_CLI_SNIPPETS_H

#include <fenra/articledb_query.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/handles.h"
#include "text/utf8.h"

namespace cli {

// A part of a text, which it borrows, and the bytes in it that match.
struct Snippet {
  std::string_view text;
  std::vector<ostren::fenra::text::TextRange> matches;
};

class Snippets {
 public:
  // Borrows the query. Throws Failure.
  Snippets(ArticledbDb* db, const ArticledbQuery* query);

  Snippet of(std::string_view text) const;

 private:
  std::unique_ptr<ArticledbQueryMarker, Releaser<articledb_query_marker_free>> marker_;
};

// In one line, without what a terminal would obey, and with the matches in bold where somebody
// looks.
std::string line_of(const Snippet& snippet);

}  // namespace cli

#endif  // FENRA_CLI_SNIPPETS_H
