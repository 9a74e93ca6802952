#include "text/web_tokenizer.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <ctime>

#include "tests/text/support.h"
#include "text/web_fold.h"

namespace {

using namespace ostren::fenra::text;
using Tokens = std::vector<std::string>;

// Parts have a "+" in front.
Tokens tokens_of(const std::string& text) {
  WebTokenizer tokenizer(text);
  Tokens tokens;
  const char* token = nullptr;
  int length = 0;
  while (tokenizer.next(&token, &length) == ARTICLEDB_TOKEN_OK) {
    tokens.push_back((tokenizer.is_part() ? "+" : "") +
                     std::string(token, static_cast<size_t>(length)));
  }
  return tokens;
}

std::string fold(const std::string& text) {
  std::string folded;
  fold_for_web(text, text.size(), &folded);
  return folded;
}

TEST(WebTokenizer, Cuts) {
  const std::pair<std::string, Tokens> cases[] = {
      {"Kaixo, MUNDUA! -- (etxe-) 'bat' 5 -3", {"kaixo", "mundua", "etxe", "bat", "5", "3"}},
      // folding
      {"Mañana ma\u006E\u0303ana Çiçek \uFB01n Ｅｔｘｅ m² λόγος ΛΌΓΟΣ İ",
       {"manana", "manana", "cicek", "fin", "etxe", "m2", "λογοσ", "λογοσ", "i"}},
      {"co\u00ADope\u200Cra\u200Dzio a\u200Bb", {"coope" + std::string("razio"), "a", "b"}},
      {"Добро 東京 शब्द", {"добро", "東京", "शबद"}},
      // compounds
      {"Eremu-izenak NATO\u2019ko d'Art. x\u2011y \u2010z",
       {"eremu-izenak", "+eremu", "+izenak", "nato'ko", "+nato", "+ko", "d'art", "+d", "+art",
        "x-y", "+x", "+y", "z"}},
      {"a--b a_b- amaiera.Hurrengoa e.a. a...b",
       {"a", "b", "a_b", "+a", "+b", "amaiera.hurrengoa", "+amaiera", "+hurrengoa", "e.a", "+e",
        "+a", "a", "b"}},
      {"1.5 10,000, 12:30 bat,bi eta/edo 1/2",
       {"1.5", "+1", "+5", "10,000", "+10", "+000", "12:30", "+12", "+30", "bat", "bi", "eta",
        "edo", "1/2", "+1", "+2"}},
      // addresses
      {"(http://A.eus/b?c=ñ,d/), x@y.eus. x.eus/\u00A0z",
       {"http://a.eus/b?c=n,d", "+http", "+a", "+eus", "+b", "+c", "+n", "+d", "x@y.eus", "+x",
        "+y", "+eus", "x.eus", "+x", "+eus", "z"}},
      {"http:// a://! \"http://b\"", {"http", "a", "http://b", "+http", "+b"}},
      // not UTF-8, and nothing
      {"a\xFF"
       "b\xC3 c" +
           std::string(1, '\0') + "d\xED\xA0\x80",
       {"a", "b", "c", "d"}},
      {"\u0301 \u00AD -", {}},
      {"", {}},
  };
  for (const auto& [text, tokens] : cases) {
    EXPECT_EQ(tokens_of(text), tokens) << text;
    // Pieces of the text are folded one by one.
    const std::string before = repeat("a ", 16384 / 2 - 3);
    Tokens behind = tokens_of(before + text);
    behind.erase(behind.begin(), behind.begin() + 16384 / 2 - 3);
    EXPECT_EQ(behind, tokens) << text;
  }
}

TEST(WebTokenizer, FoldsEveryCharacterToItsEnd) {
  for (gunichar c = 1; c < 0x110000; ++c) {
    if (!g_unichar_validate(c)) {
      continue;
    }
    char bytes[6];
    const std::string character(bytes, static_cast<size_t>(g_unichar_to_utf8(c, bytes)));
    const std::string folded = fold(character);
    ASSERT_EQ(fold(folded), folded + " ") << c;
  }
}

// Ten megabytes of each; no word is longer than the longest one.
TEST(WebTokenizer, TakesHostileTextsInLinearTime) {
  const std::pair<std::string, size_t> cases[] = {
      {"\u0301", 0},          {"-", 0},        {"1", 1},          {"\xFF", 0},
      {"a-", 5000001},        {"a/", 5000000}, {"a://", 2500001}, {"a.a/(", 4000001},
      {"http://a?", 2222225}, {"\uD55C", 2}};
  for (const auto& [unit, count] : cases) {
    const std::string text = repeat(unit, static_cast<int>(10000000 / unit.size()) + 1);
    const clock_t begin = clock();
    WebTokenizer tokenizer(text);
    const char* token = nullptr;
    int length = 0;
    size_t found = 0;
    for (; tokenizer.next(&token, &length) == ARTICLEDB_TOKEN_OK; ++found) {
      ASSERT_LE(static_cast<size_t>(length), MOST_WEB_WORD_BYTES);
    }
    EXPECT_LT(clock() - begin, 4 * CLOCKS_PER_SEC) << unit;  // a tenth of it was measured
    EXPECT_NEAR(static_cast<double>(found), static_cast<double>(count), 2) << unit;
  }
}

}  // namespace
