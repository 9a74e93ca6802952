#include "text/utf8.h"

#include <glib.h>

#include <algorithm>

namespace ostren::fenra::text {
namespace {

bool continues_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// Where each character of the repaired text has its first byte, and the size.
std::vector<size_t> character_offsets(std::string_view text) {
  std::vector<size_t> offsets;
  size_t at = 0;
  while (at < text.size()) {
    const size_t invalid = at + first_invalid_utf8(text.substr(at));
    for (; at < invalid; ++at) {
      if (!continues_character(text[at])) {
        offsets.push_back(at);
      }
    }
    if (at < text.size()) {
      offsets.push_back(at++);
    }
  }
  offsets.push_back(text.size());
  return offsets;
}

}  // namespace

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

std::string repaired_utf8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  while (!text.empty()) {
    const size_t valid = first_invalid_utf8(text);
    repaired += text.substr(0, valid);
    if (valid == text.size()) {
      break;
    }
    repaired += kReplacementCharacter;
    text.remove_prefix(valid + 1);
  }
  return repaired;
}

std::vector<TextRange> character_ranges(std::string_view text,
                                        const std::vector<TextRange>& byte_ranges) {
  const std::vector<size_t> offsets = character_offsets(text);
  const auto begin = offsets.begin();
  std::vector<TextRange> ranges;
  for (const TextRange& range : byte_ranges) {
    const auto behind_start =
        std::upper_bound(begin, offsets.end(), std::min(range.start, text.size()));
    const auto end = std::lower_bound(begin, offsets.end(), std::min(range.end, text.size()));
    ranges.push_back(
        {static_cast<size_t>(behind_start - begin) - 1, static_cast<size_t>(end - begin)});
  }
  return ranges;
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
