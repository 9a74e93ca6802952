#include "cli/snippets.h"

#include <unistd.h>

#include <string_view>

namespace cli {
namespace {

using ostren::fenra::text::repaired_utf8;
using ostren::fenra::text::TextRange;

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
