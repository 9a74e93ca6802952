// The text analysis from its definition: with the patterns just as they are
// defined, one plain search after the other. Slow on purpose-built texts, and deep
// in recursion on long ones; for short texts of valid UTF-8.
#ifndef FENRA_TESTS_TEXT_REFERENCE_H
#define FENRA_TESTS_TEXT_REFERENCE_H

#include <iconv.h>
#include <pcre.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "text/articledb_util.h"

namespace text_reference {

// A search for a pattern just as it is written, and what it found.
struct PlainSearch {
  explicit PlainSearch(const char* pattern)
      : code(articledb_regex_new(pattern), articledb_regex_free) {}
  int find(const std::string& subject, int start) {
    return pcre_exec(code.get(), nullptr, subject.data(), static_cast<int>(subject.size()), start,
                     PCRE_NOTEMPTY | PCRE_NO_UTF8_CHECK, offsets, 60);
  }
  int begin(int group) const { return offsets[2 * group]; }
  int end(int group) const { return offsets[2 * group + 1]; }
  std::string text(const std::string& subject, int group) const {
    return subject.substr(begin(group), end(group) - begin(group));
  }

  std::unique_ptr<pcre, decltype(&articledb_regex_free)> code;
  int offsets[60];
};

// PCRE's opinion on UTF-8, which is not the one that the library asks.
inline bool is_valid_utf8(const std::string& text) {
  static const PlainSearch anything("");
  int offsets[3];
  return pcre_exec(anything.code.get(), nullptr, text.data(), static_cast<int>(text.size()), 0, 0,
                   offsets, 3) >= 0;
}

// The character as glibc's iconv writes it; nothing where it refuses.
inline std::optional<std::string> iconv_wide_char(uint32_t code, size_t space) {
  static const iconv_t converter = iconv_open("utf-8", "WCHAR_T");
  char bytes[8];
  auto wide = static_cast<wchar_t>(code);
  char* in = reinterpret_cast<char*>(&wide);
  char* out = bytes;
  size_t in_left = sizeof(wide);
  size_t out_left = std::min(space, sizeof bytes);
  if (iconv(converter, &in, &in_left, &out, &out_left) != 0 || in_left != 0) {
    return std::nullopt;
  }
  return std::string(bytes, out);
}

struct Refused {};
inline void require(bool condition) { condition ? void() : throw Refused(); }

using Replacement = std::function<std::string(const std::string& match, int start, size_t space)>;

inline std::string replace(const char* pattern, const std::string& subject, size_t capacity,
                           const Replacement& replacement) {
  PlainSearch search(pattern);
  std::string result;
  int start = 0;
  int found;
  for (; (found = search.find(subject, start)) > 0; start = search.end(0)) {
    result.append(subject, start, search.begin(0) - start);
    require(result.size() < capacity);
    result += replacement(search.text(subject, 0), search.begin(0), capacity - result.size());
  }
  result.append(subject, start);
  require(found == PCRE_ERROR_NOMATCH && result.size() < capacity);
  return result;
}

inline Replacement fixed(const std::string& by) {
  return [by](const std::string&, int, size_t space) {
    require(by.size() < space);
    return by;
  };
}

inline std::string character(const std::string& reference, int /*start*/, size_t space) {
  require(space > 3);
  if (reference[1] != '#') {
    require(space >= reference.size());
    return reference;
  }
  char* end = nullptr;
  const long number = strtol(reference.c_str() + 2, &end, 0);
  require(end == &reference.back());
  const auto bytes = iconv_wide_char(static_cast<uint32_t>(number), space);
  require(bytes.has_value());
  return *bytes;
}

// The text of a page; nothing when the conversion fails.
inline std::optional<std::string> reference_html_to_txt(const std::string& html) try {
  const size_t capacity = html.size();
  std::string text =
      replace(R"(<\s*script[^<]*<\s*/\s*script\s*>|<!--.*?-->|<\s*/\s*p\s*>|<\s*/\s*br\s*>)", html,
              capacity, fixed(""));
  text = replace(R"(<\s*br\s*>)", text, capacity, fixed("\n"));
  text = replace(R"(<\s*p\s*>)", text, capacity, fixed("\n\n"));
  PlainSearch title_body(R"((?:<\s*title\s*>(.*?)<\s*/\s*title).*?(<\s*body.*))");
  require(title_body.find(text, 0) == 3);
  const std::string body = title_body.text(text, 2);
  text = title_body.text(text, 1) + "\n\n";
  PlainSearch run(">([^<]*)<");
  for (int start = 0; run.find(body, start) > 0; start = run.end(1)) {
    text += run.text(body, 1);
    require(text.size() < capacity);
  }
  const auto collapsed = [&](const std::string& blanks, int start, size_t space) -> std::string {
    if (start == 0) {
      return "";
    }
    const bool last = start + blanks.size() == text.size();
    require(last || space >= 2);
    const auto has = [&](const char* feeds) { return blanks.find(feeds) != std::string::npos; };
    return last || !has("\n\n") ? (last || has("\n") ? "\n" : " ") : "\n\n";
  };
  text = replace(R"(\s+)", std::string(text), capacity, collapsed);
  return replace("&[0-9a-zA-Z#]*;", text, capacity, character);
} catch (const Refused&) {
  return std::nullopt;
}

// The word tokens of a text.
inline std::vector<std::string> reference_tokens_of(std::string rest) {
  static PlainSearch word(R"(((?:[a-z]+://)?[\w-]+\.[\w-]+(?:[\./~\w-])*)|([\w-]+))");
  std::vector<std::string> tokens;
  int found;
  for (; (found = word.find(rest, 0)) > 0; rest.erase(0, word.end(0))) {
    if (found == 3) {
      tokens.push_back(word.text(rest, 2));
    }
  }
  return tokens;
}

}  // namespace text_reference

#endif  // FENRA_TESTS_TEXT_REFERENCE_H
