#include "cli/article_json.h"

#include <glib.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "text/utf8.h"

namespace cli {
namespace {

using ostren::fenra::text::repaired_utf8;

constexpr int kMostTitleCharacters = 200;
constexpr char kEllipsis[] = "\u2026";

// The members that have their place in the object.
constexpr const char* kNamedKeys[] = {"date", "source", "mime", "lang"};

using Pairs = std::vector<std::pair<std::string, std::string>>;

std::string value_of(const Pairs& pairs, std::string_view key) {
  const auto found =
      std::find_if(pairs.begin(), pairs.end(), [&](const auto& pair) { return pair.first == key; });
  return found == pairs.end() ? "" : found->second;
}

JsonObject further_pairs(const Pairs& pairs) {
  std::set<std::string> taken(std::begin(kNamedKeys), std::end(kNamedKeys));
  JsonObject object;
  for (const auto& [key, value] : pairs) {
    if (taken.insert(repaired_utf8(key)).second) {
      object.add_text(key, value);
    }
  }
  return object;
}

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

}  // namespace

JsonObject article_json(uint64_t id, const Article& article, std::string_view text) {
  const Pairs pairs = metadata_pairs(article.metadata);
  JsonObject object;
  object.add_number("id", id)
      .add_text("url", article.url)
      .add_text("title", title_of(text))
      .add_text("date", value_of(pairs, "date"))
      .add_text("source", value_of(pairs, "source"));
  return object;
}

JsonObject whole_article_json(uint64_t id, const Article& article, std::string_view text) {
  const Pairs pairs = metadata_pairs(article.metadata);
  return article_json(id, article, text)
      .add_text("mime", value_of(pairs, "mime"))
      .add_text("lang", value_of(pairs, "lang"))
      .add_object("metadata", further_pairs(pairs))
      .add_text("text", text);
}

}  // namespace cli
