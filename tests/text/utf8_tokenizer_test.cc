#include <gtest/gtest.h>

#include <memory>

#include "tests/text/support.h"

namespace {

using Tokens = std::vector<std::string>;
using Tokenizer = std::unique_ptr<ArticledbUtf8Tokenizer, decltype(&articledb_utf8_tokenizer_free)>;
const std::string kNul(1, '\0');
const std::string kLongS = "\u017F";  // in a caseless [a-z], not in \w

Tokenizer tokenizer_over(const char* text, size_t length) {
  return {articledb_utf8_tokenizer_new(text, static_cast<int>(length)),
          articledb_utf8_tokenizer_free};
}

// The next token, or the status in brackets.
std::string next(const Tokenizer& tokenizer) {
  const char* token = nullptr;
  int length = 0;
  const int status = articledb_utf8_tokenizer_next_token(tokenizer.get(), &token, &length);
  return status == 1 ? std::string(token, static_cast<size_t>(length))
                     : "(" + std::to_string(status) + ")";
}

Tokens tokens_of(const std::string& text) {
  const Tokenizer tokenizer = tokenizer_over(text.data(), text.size());
  Tokens tokens;
  for (std::string token; (token = next(tokenizer))[0] != '(';) {
    tokens.push_back(token);
  }
  tokens.push_back(next(tokenizer));
  return tokens;
}

TEST(Utf8Tokenizer, Cuts) {
  const std::pair<std::string, Tokens> cases[] = {
      {"Kaixo mundua, txostena.pdf irakurri", {"Kaixo", "mundua", "irakurri", "(2)"}},
      {"amaiera.Hurrengoa amaiera. Hurrengoa", {"amaiera", "Hurrengoa", "(2)"}},
      {"Etxea etxea ma\u00F1ana", {"Etxea", "etxea", "ma", "ana", "(2)"}},
      {"-- etxe-barne foo_bar 1", {"--", "etxe-barne", "foo_bar", "1", "(2)"}},
      {"3.14 e.g. bertsioa-1.2/oharrak~x azken.", {"azken", "(2)"}},
      {"http://a.eus/b http://ab 9http://a.b", {"http", "ab", "9http", "(2)"}},
      {kLongS + "\u212A://a.b a9" + kLongS + "://a.b c", {"a9", "c", "(2)"}},
      {"a" + kLongS + "b" + kLongS + "://c d", {"a", "b", "c", "d", "(2)"}},
      {"a" + kNul + "b", {"a", "b", "(2)"}},
      {"", {"(2)"}},
  };
  for (const auto& [text, tokens] : cases) {
    EXPECT_EQ(tokens_of(text), tokens) << text;
  }
}

TEST(Utf8Tokenizer, RefusesWhatIsNotUtf8AtEveryRead) {
  for (const std::string& invalid : kInvalidUtf8) {
    EXPECT_EQ(tokens_of("etxe berri" + kNul + invalid), Tokens{"(-1)"});
    EXPECT_EQ(tokens_of(invalid + " etxe"), Tokens{"(-1)"});
  }
  EXPECT_EQ(next(tokenizer_over(nullptr, 0)), "(2)");
  EXPECT_EQ(next(tokenizer_over(nullptr, 1)), "(-1)");
  EXPECT_EQ(next(tokenizer_over("a", static_cast<size_t>(-1))), "(-1)");
}

TEST(Utf8Tokenizer, StaysWhereAFailedSearchBegan) {
  const Tokenizer tokenizer = tokenizer_over("bat bi.bi hiru", 14);
  ASSERT_EQ(next(tokenizer), "bat");
  for (const int failure : {0, 1, PCRE_ERROR_MATCHLIMIT, PCRE_ERROR_JIT_STACKLIMIT}) {
    const bool behind_dotted_run = tokenizer->length == 11;
    pcre_seam::failing_search = pcre_seam::searches + (behind_dotted_run ? 1 : 0);
    pcre_seam::failure = failure;
    EXPECT_EQ(next(tokenizer), "(-1)");
    EXPECT_EQ(std::string(tokenizer->text), " hiru");
  }
  pcre_seam::failing_search = -1;
  EXPECT_EQ(next(tokenizer), "hiru");
}

// Quadratic time, or a stack as deep as the text, with the plain pattern.
TEST(Utf8Tokenizer, TakesHostileTextsOnASmallStack) {
  const int n = 300000;
  const std::pair<std::string, size_t> cases[] = {
      {"a.a" + repeat(".", n), 0},   {repeat("a.", n), 0},         {repeat("a://", n), n},
      {repeat("a", n), 1},           {repeat(" ", n), 0},          {"a://" + repeat("a", n), 2},
      {repeat(kLongS, n), 0},        {repeat(kLongS + "a", n), n}, {repeat(kNul, n) + "a", 1},
      {repeat("a9" + kLongS, n), n},
  };
  on_small_stack([&] {
    for (const bool interpreter : {false, true}) {
      pcre_seam::interpreter_only = interpreter;
      for (const auto& [text, count] : cases) {
        const Tokens tokens = tokens_of(text);
        EXPECT_EQ(tokens.size(), count + 1) << text.substr(0, 20);
        EXPECT_EQ(tokens.back(), "(2)");
      }
    }
    pcre_seam::interpreter_only = false;
  });
}

}  // namespace
