#include "text/web_markup.h"

#include <algorithm>

namespace ostren::fenra::text {
namespace {

constexpr size_t kLongestName = 16;

size_t skip_spaces(std::string_view html, size_t at) {
  while (at < html.size() && is_html_space(html[at])) {
    ++at;
  }
  return at;
}

bool ends_tag_name(char c) { return is_html_space(c) || c == '/' || c == '>'; }

// Where, from `from` on, the first character is for which `ends` is true, or the end.
template <typename Ends>
size_t find_end(std::string_view html, size_t from, Ends ends) {
  while (from < html.size() && !ends(html[from])) {
    ++from;
  }
  return std::min(from, html.size());
}

// Behind "=": the value, and `*at` behind it and its quotes.
std::string_view read_value(std::string_view html, size_t* at) {
  const size_t from = skip_spaces(html, *at);
  const char quote = from < html.size() ? html[from] : '\0';
  if (quote == '"' || quote == '\'') {
    const size_t end = std::min(html.find(quote, from + 1), html.size());
    *at = std::min(end + 1, html.size());
    return html.substr(from + 1, end - from - 1);
  }
  *at = find_end(html, from, [](char c) { return is_html_space(c) || c == '>'; });
  return html.substr(from, *at - from);
}

// Whether the tag's name at `at` is `name`, and ends there.
bool is_name_at(std::string_view html, size_t at, std::string_view name) {
  if (!equals_ignoring_case(html.substr(std::min(at, html.size()), name.size()), name)) {
    return false;
  }
  const size_t end = at + name.size();
  return end < html.size() && ends_tag_name(html[end]);
}

// Whether a tag's attribute hides the element.
bool hides(const Attribute& attribute) {
  if (equals_ignoring_case(attribute.name, "hidden")) {
    return !equals_ignoring_case(attribute.value, "until-found");
  }
  constexpr std::string_view kNotDisplayed = "display:none";
  if (!equals_ignoring_case(attribute.name, "style")) {
    return false;
  }
  size_t matched = 0;
  for (size_t i = 0; i < attribute.value.size() && matched < kNotDisplayed.size(); ++i) {
    const char c = ascii_lower(attribute.value[i]);
    if (c == kNotDisplayed[matched]) {
      ++matched;
    } else if (!is_html_space(c)) {
      matched = c == kNotDisplayed[0] ? 1 : 0;
    }
  }
  return matched == kNotDisplayed.size();
}

size_t script_end(std::string_view html, size_t from) {
  enum { kCode, kComment, kScriptInComment } state = kCode;
  for (size_t at = from; (at = html.find_first_of("<-", at)) != std::string_view::npos; ++at) {
    if (html[at] == '-') {
      if (html.substr(at, 3) == "-->") {
        state = kCode;
      }
    } else if (state == kCode && html.substr(at, 4) == "<!--") {
      state = kComment;
      ++at;  // "<!-->" is a whole comment
    } else if (state == kComment && is_name_at(html, at + 1, "script")) {
      state = kScriptInComment;
    } else if (html.substr(at, 2) == "</" && is_name_at(html, at + 2, "script")) {
      if (state != kScriptInComment) {
        return at;
      }
      state = kComment;
    }
  }
  return html.size();
}

}  // namespace

bool equals_ignoring_case(std::string_view text, std::string_view lower) {
  return text.size() == lower.size() &&
         std::equal(text.begin(), text.end(), lower.begin(),
                    [](char a, char b) { return ascii_lower(a) == b; });
}

bool next_attribute(std::string_view html, size_t* at, Attribute* attribute) {
  while (*at < html.size() && (is_html_space(html[*at]) || html[*at] == '/')) {
    ++*at;
  }
  if (*at >= html.size() || html[*at] == '>') {
    return false;
  }
  const size_t from = *at;
  // A "=" that comes first belongs to the name.
  *at = find_end(html, from + 1, [](char c) { return ends_tag_name(c) || c == '='; });
  attribute->name = html.substr(from, *at - from);
  attribute->value = {};
  const size_t next = skip_spaces(html, *at);
  if (next < html.size() && html[next] == '=') {
    *at = next + 1;
    attribute->value = read_value(html, at);
  }
  return true;
}

bool read_tag(std::string_view html, size_t from, Tag* tag, size_t* end) {
  size_t at = find_end(html, from, ends_tag_name);
  tag->name.assign(html.substr(from, std::min(at - from, kLongestName)));
  std::transform(tag->name.begin(), tag->name.end(), tag->name.begin(), ascii_lower);
  tag->hidden = tag->open = false;
  size_t attribute_end = at;
  Attribute attribute;
  while (next_attribute(html, &at, &attribute)) {
    attribute_end = at;
    tag->hidden |= hides(attribute);
    tag->open |= equals_ignoring_case(attribute.name, "open");
  }
  tag->self_closing = at > attribute_end && html[at - 1] == '/';
  *end = std::min(at + 1, html.size());
  return at < html.size();
}

size_t comment_end(std::string_view html, size_t from) {
  for (const std::string_view whole : {">", "->"}) {
    if (html.substr(from, whole.size()) == whole) {
      return from + whole.size();
    }
  }
  for (size_t at = from; (at = html.find("--", at)) != std::string_view::npos; ++at) {
    if (html.substr(at + 2, 1) == ">") {
      return at + 3;
    }
    if (html.substr(at + 2, 2) == "!>") {
      return at + 4;
    }
  }
  return html.size();
}

size_t raw_text_end(std::string_view html, size_t from, std::string_view name) {
  if (name == "script") {
    return script_end(html, from);
  }
  for (size_t at = from; (at = html.find("</", at)) != std::string_view::npos; ++at) {
    if (is_name_at(html, at + 2, name)) {
      return at;
    }
  }
  return html.size();
}

}  // namespace ostren::fenra::text
