#include "text/utf8.h"

#include <glib.h>

namespace ostren::fenra::text {

size_t first_invalid_utf8(std::string_view text) {
  const char* rest = text.data();
  const char* const end = rest + text.size();
  // GLib stops at a zero byte as if it were an error; it is passed over here.
  while (!g_utf8_validate(rest, end - rest, &rest) && *rest == '\0') {
    ++rest;
  }
  return static_cast<size_t>(rest - text.data());
}

bool is_valid_utf8(std::string_view text) { return first_invalid_utf8(text) == text.size(); }

bool is_valid_utf8(const char* text, int length) {
  if (text == nullptr || length < 0) {
    return text == nullptr && length == 0;
  }
  return is_valid_utf8(std::string_view(text, static_cast<size_t>(length)));
}

int encode_wide_char(uint32_t code, char* output, int space) {
  if (code > 0x7FFFFFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    return -1;
  }
  // n bytes carry 5n + 1 bits, a single byte 7.
  int size = 1;
  while (code >> (size == 1 ? 7 : 5 * size + 1) != 0) {
    ++size;
  }
  if (size > space) {
    return -1;
  }
  for (int i = size - 1; i > 0; --i) {
    output[i] = static_cast<char>(0x80 | (code & 0x3F));
    code >>= 6;
  }
  const uint32_t mark = size == 1 ? 0 : 0xFFu << (8 - size);
  output[0] = static_cast<char>(mark | code);
  return size;
}

}  // namespace ostren::fenra::text
