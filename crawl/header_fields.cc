#include "crawl/header_fields.h"

#include <glib.h>

#include <algorithm>

namespace ostren::fenra::crawl {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) {
    return {};
  }
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::string lower(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), g_ascii_tolower);
  return result;
}

std::vector<std::string_view> parts(std::string_view text, char separator) {
  std::vector<std::string_view> found;
  while (!text.empty()) {
    const size_t end = std::min(text.find(separator), text.size());
    const std::string_view part = trimmed(text.substr(0, end));
    if (!part.empty()) {
      found.push_back(part);
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return found;
}

HeaderField header_field(std::string_view line) {
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos) {
    return {};
  }
  return {lower(trimmed(line.substr(0, colon))), trimmed(line.substr(colon + 1))};
}

}  // namespace ostren::fenra::crawl
