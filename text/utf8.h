// UTF-8 validation and encoding.
#ifndef FENRA_TEXT_UTF8_H
#define FENRA_TEXT_UTF8_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ostren::fenra::text {

// The offset of the first byte that is not UTF-8, or the text's size. Zero bytes are
// characters like others.
size_t first_invalid_utf8(std::string_view text);

// Whether `text` is valid UTF-8.
bool is_valid_utf8(std::string_view text);

// Whether a pointer and a length handed in from outside make up valid UTF-8.
// Null is the empty text when `length` is 0; no negative length is valid.
bool is_valid_utf8(const char* text, int length);

// Writes `code` to `output` just as glibc's iconv converts one WCHAR_T to utf-8:
// in up to 6 bytes for numbers to 0x7FFFFFFF, far above those of Unicode, and not
// at all (-1) for surrogates, larger numbers and what needs more than `space`
// bytes. Returns the number of bytes written.
int encode_wide_char(uint32_t code, char* output, int space);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_UTF8_H
