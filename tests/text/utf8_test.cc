// Repaired texts and ranges in them, compared with GLib's.
#include "text/utf8.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <memory>
#include <random>

namespace ostren::fenra::text {
namespace {

using Text = std::unique_ptr<char, decltype(&g_free)>;

// Mostly invalid: cut characters, overlong forms, surrogates, what is beyond Unicode, and
// characters of 1 to 4 bytes.
std::string hostile_text(std::mt19937& random) {
  static const std::string bytes = "a\x80\x9F\xA0\xBF\xC0\xC3\xE0\xE2\xED\xEF\xF0\xF4\xFF";
  std::string text(random() % 16, '\0');
  for (char& byte : text) {
    byte = bytes[random() % bytes.size()];
  }
  return text;
}

// For each byte the number of its character.
std::vector<size_t> characters_of_bytes(const std::string& text) {
  std::vector<size_t> characters;
  for (size_t number = 0; characters.size() < text.size(); ++number) {
    const char* rest = text.data() + characters.size();
    const auto left = static_cast<gssize>(text.size() - characters.size());
    const gunichar character = g_utf8_get_char_validated(rest, left);
    const bool valid = character < static_cast<gunichar>(-2);
    characters.resize(characters.size() + (valid ? g_utf8_skip[static_cast<guchar>(*rest)] : 1),
                      number);
  }
  return characters;
}

TEST(Utf8, EachInvalidByteIsOneCharacterOfTextsAndRanges) {
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    const std::string text = hostile_text(random);
    const std::string repaired = repaired_utf8(text);
    const Text expected(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), g_free);
    ASSERT_EQ(repaired, expected.get());

    const std::vector<size_t> characters = characters_of_bytes(text);
    const auto count = static_cast<size_t>(g_utf8_strlen(expected.get(), -1));
    std::vector<TextRange> wanted;
    std::vector<TextRange> ranges;
    for (size_t start = 0; start <= text.size(); ++start) {
      for (size_t end = start + 1; end <= text.size(); ++end) {
        ranges.push_back({start, end});
        wanted.push_back({characters[start], characters[end - 1] + 1});
      }
    }
    ranges.push_back({text.size(), text.size() + 5});
    wanted.push_back({count, count});
    const std::vector<TextRange> found = character_ranges(text, ranges);
    ASSERT_EQ(found.size(), wanted.size());
    for (size_t i = 0; i < found.size(); ++i) {
      ASSERT_EQ(found[i].start, wanted[i].start) << repaired << ' ' << ranges[i].start;
      ASSERT_EQ(found[i].end, wanted[i].end) << repaired << ' ' << ranges[i].end;
    }
  }
  // A zero byte is a character like others.
  EXPECT_EQ(repaired_utf8({"\0\xFF\0", 3}), std::string("\0\xEF\xBF\xBD\0", 5));
  EXPECT_EQ(character_ranges({"\0\xFF\0z", 4}, {{3, 4}}).front().start, 3u);
}

}  // namespace
}  // namespace ostren::fenra::text
