#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "text/articledb_util.h"

namespace {

using Words = std::vector<std::string>;

// What each of the words builds, with '|' for the zero bytes; "" for nothing.
Words trigrams_of(const Words& words) {
  TrigramBuilder builder;
  memset(&builder, 'x', sizeof(builder));
  trigram_builder_init(&builder);
  Words trigrams;
  for (const std::string& word : words) {
    const char* trigram = nullptr;
    int length = 0;
    const std::string followed = word + "x";
    const int built = trigram_builder_next_trigram(
        &builder, followed.data(), static_cast<int>(word.size()), &trigram, &length);
    EXPECT_EQ(trigram, built == 1 ? builder.trigram : nullptr);
    trigrams.emplace_back(trigram == nullptr ? "" : trigram, static_cast<size_t>(length));
    for (char& c : trigrams.back()) {
      c = c == '\0' ? '|' : c;
    }
  }
  return trigrams;
}

TEST(TrigramBuilder, JoinsThreeWordsInARow) {
  const std::string longest(63, 'a');
  const std::string row = longest + "|" + longest + "|";
  const std::pair<Words, Words> cases[] = {
      {{"gure", "etxe", "berria"}, {"", "", "gure|etxe|berria|"}},
      {{"abc", "b", "c", "d", "e"}, {"", "", "abc|b|c|", "b|c|d|", "c|d|e|"}},
      {{"x", "y", std::string(70, 'z'), "p", "q", "r"}, {"", "", "", "", "", "p|q|r|"}},
      {{"x", "y", "z", std::string(64, 'z'), "p", "q"}, {"", "", "x|y|z|", "", "", ""}},
      {{"x", "y", "", "p", "q", "r"}, {"", "", "", "", "", "p|q|r|"}},
      {{longest, longest, longest, "b"}, {"", "", row + longest + "|", row + "b|"}},
  };
  for (const auto& [words, trigrams] : cases) {
    EXPECT_EQ(trigrams_of(words), trigrams);
  }
}

}  // namespace
