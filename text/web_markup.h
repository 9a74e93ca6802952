// The tokens of HTML, cut as browsers cut them. Positions count bytes of a page in
// UTF-8; one that is not found is the page's size.
#ifndef FENRA_TEXT_WEB_MARKUP_H
#define FENRA_TEXT_WEB_MARKUP_H

#include <cstdint>
#include <string>
#include <string_view>

namespace ostren::fenra::text {

inline bool is_html_space(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}
inline bool is_ascii_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
inline char ascii_lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Whether `text` is `lower`, which has no capital, in any case of ASCII letters.
bool equals_ignoring_case(std::string_view text, std::string_view lower);

struct Attribute {
  std::string_view name;
  std::string_view value;
};

// Reads the attribute of a tag that follows `*at`, and leaves `*at` behind it. Returns
// false when there is none: then `*at` is at the tag's ">".
bool next_attribute(std::string_view html, size_t* at, Attribute* attribute);

struct Tag {
  std::string name;  // in lower case, cut where it is longer than any that counts
  bool self_closing = false;
  bool hidden = false;  // by its attributes "hidden" or "style"
  bool open = false;    // has the attribute "open"
};

// Reads the tag whose name begins at `from` and sets `*end` behind its ">". Returns false
// when the page ends within it: then it is no tag at all, nor text.
bool read_tag(std::string_view html, size_t from, Tag* tag, size_t* end);

// The position behind the comment whose "<!--" ends at `from`.
size_t comment_end(std::string_view html, size_t from);

// The position of the "</name" that ends the raw text from `from` on. In scripts, the
// end tags of scripts within comments do not count.
size_t raw_text_end(std::string_view html, size_t from, std::string_view name);

// The character or name behind the "&" at `*at`. Appends what it stands for to `text` and
// leaves `*at` behind it; false, and nothing done, where the "&" stands for itself.
bool read_reference(std::string_view html, size_t* at, std::string* text);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_MARKUP_H
