// UTF-8 validation, repair and encoding.
#ifndef FENRA_TEXT_UTF8_H
#define FENRA_TEXT_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::text {

inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD

// The offset of the first byte that is not UTF-8, or the text's size. Zero bytes are
// characters like others.
size_t first_invalid_utf8(std::string_view text);

// Whether `text` is valid UTF-8.
bool is_valid_utf8(std::string_view text);

// Whether a pointer and a length handed in from outside make up valid UTF-8.
// Null is the empty text when `length` is 0; no negative length is valid.
bool is_valid_utf8(const char* text, int length);

// The text with U+FFFD in the place of every single byte that is not UTF-8.
std::string repaired_utf8(std::string_view text);

// From `start` to before `end`.
struct TextRange {
  size_t start = 0;
  size_t end = 0;
};

// Ranges of bytes of a text as ranges of the characters (code points) of repaired_utf8(text). A
// range that begins or ends within a character has the whole of it, and none goes beyond the text.
std::vector<TextRange> character_ranges(std::string_view text,
                                        const std::vector<TextRange>& byte_ranges);

// Writes `code` to `output` just as glibc's iconv converts one WCHAR_T to utf-8:
// in up to 6 bytes for numbers to 0x7FFFFFFF, far above those of Unicode, and not
// at all (-1) for surrogates, larger numbers and what needs more than `space`
// bytes. Returns the number of bytes written.
int encode_wide_char(uint32_t code, char* output, int space);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_UTF8_H
