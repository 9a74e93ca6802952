#include "cli/snippets.h"

#include <unistd.h>

#include <new>

#include "cli/failure.h"

namespace cli {
namespace {

using ostren::fenra::text::repaired_utf8;
using ostren::fenra::text::TextRange;

constexpr guint32 kMostBytes = 240;

std::string shown(std::string_view text) {
  std::string line;
  for (const char c : text) {
    const bool control = static_cast<unsigned char>(c) < ' ' || c == 0x7F;
    if (!(control && !line.empty() && line.back() == ' ')) {
      line += control ? ' ' : c;
    }
  }
  return repaired_utf8(line);
}

}  // namespace

Snippets::Snippets(ArticledbDb* db, const ArticledbQuery* query)
    : marker_(articledb_query_marker_new(query, db)) {
  if (marker_ == nullptr) {
    throw Failure("the store failed while the forms of the words were read");
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

std::string line_of(const Snippet& snippet) {
  const bool bold = isatty(STDOUT_FILENO) == 1;
  std::string line;
  size_t at = 0;
  for (const TextRange& match : snippet.matches) {
    line += shown(snippet.text.substr(at, match.start - at));
    const std::string word = shown(snippet.text.substr(match.start, match.end - match.start));
    line += bold ? "\x1b[1m" + word + "\x1b[0m" : word;
    at = match.end;
  }
  return line + shown(snippet.text.substr(at));
}

}  // namespace cli
