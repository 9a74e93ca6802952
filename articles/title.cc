#include "articles/title.h"

#include <glib.h>

#include <algorithm>

#include "text/utf8.h"

namespace ostren::fenra::articles {
namespace {

using text::repaired_utf8;

constexpr int kMostTitleCharacters = 200;
constexpr char kEllipsis[] = "\u2026";

size_t character_size(std::string_view text) {
  return static_cast<size_t>(g_utf8_skip[static_cast<guchar>(text.front())]);
}

// GLib counts neither a vertical tab nor U+0085 in.
bool is_white(gunichar character) {
  return g_unichar_isspace(character) || character == '\v' || character == 0x85;
}

// Of valid UTF-8.
std::string_view trimmed(std::string_view line) {
  while (!line.empty() && is_white(g_utf8_get_char(line.data()))) {
    line.remove_prefix(character_size(line));
  }
  while (!line.empty()) {
    const char* last = g_utf8_prev_char(line.data() + line.size());
    if (!is_white(g_utf8_get_char(last))) {
      break;
    }
    line = line.substr(0, static_cast<size_t>(last - line.data()));
  }
  return line;
}

// Of valid UTF-8.
std::string shortened(std::string_view line) {
  size_t last = 0;  // of the characters that there is room for
  size_t end = 0;
  for (int count = 0; count < kMostTitleCharacters && end < line.size(); ++count) {
    last = end;
    end += character_size(line.substr(end));
  }
  return end == line.size() ? std::string(line) : std::string(line.substr(0, last)) + kEllipsis;
}

}  // namespace

std::string title_of(std::string_view text) {
  while (!text.empty()) {
    const size_t end = std::min(text.find_first_of("\r\n"), text.size());
    const std::string line = repaired_utf8(text.substr(0, end));
    const std::string_view title = trimmed(line);
    if (!title.empty()) {
      return shortened(title);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return "";
}

}  // namespace ostren::fenra::articles
