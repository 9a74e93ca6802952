// The tokenizer constructor.
#include <glib.h>
#include <gtest/gtest.h>

#include "tests/text/support.h"

namespace {

using Strings = std::vector<std::string>;

struct Outcome {
  Strings tokens;
  std::string text;
  guint length = 0;
  std::string messages;
};

Outcome tokenize(const char* mime, const std::string& data, int length) {
  Outcome outcome;
  GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
  if (mime != nullptr) {
    g_hash_table_insert(table, const_cast<char*>("mime"), const_cast<char*>(mime));
  }
  const guint entries = g_hash_table_size(table);
  testing::internal::CaptureStderr();
  // Exactly sized, so that a read past its end shows.
  std::vector<char> exact(data.begin(), data.end());
  ArticledbUtf8Tokenizer* tokenizer =
      articledb_utf8_tokenizer_new_with_metadata_and_data(table, exact.data(), length);
  outcome.messages = testing::internal::GetCapturedStderr();
  if (tokenizer == nullptr) {
    EXPECT_EQ(g_hash_table_size(table), entries);
    outcome.text = "refused";
  } else {
    char* text = static_cast<char*>(g_hash_table_lookup(table, "_txt"));
    outcome.text.assign(text, static_cast<size_t>(tokenizer->length) + 1);
    EXPECT_EQ(outcome.text.back(), '\0');
    outcome.text.pop_back();
    outcome.length = GPOINTER_TO_UINT(g_hash_table_lookup(table, "_length"));
    const char* token;
    int token_length;
    while (articledb_utf8_tokenizer_next_token(tokenizer, &token, &token_length) == 1) {
      outcome.tokens.emplace_back(token, static_cast<size_t>(token_length));
    }
    articledb_utf8_tokenizer_free(tokenizer);
    g_free(text);
  }
  g_hash_table_destroy(table);
  return outcome;
}

Outcome tokenize(const char* mime, const std::string& data) {
  return tokenize(mime, data, static_cast<int>(data.size()));
}

std::string page(const std::string& title, const std::string& body) {
  return "<html><title>" + title + "</title><body><p>" + body +
         "</p><!-- oharra: luzera egokia izan dadin --></body></html>";
}

TEST(TokenizerConstructorTest, TakesPlainTextAndHtmlByMimePrefix) {
  for (const char* mime : {"text/plain", "TEXT/Plain; charset=utf-8"}) {
    const Outcome o = tokenize(mime, "Kaixo mundua");
    EXPECT_EQ(o.tokens, (Strings{"Kaixo", "mundua"}));
    EXPECT_EQ(o.text, "Kaixo mundua");
    EXPECT_EQ(o.length, 12U);
    EXPECT_EQ(o.messages, "");
  }
  const std::string html = page("Izenburua", "Kaixo&#0;mundua");
  const Outcome o = tokenize("text/HTML; charset=utf-8", html);
  EXPECT_EQ(o.text, std::string("Izenburua\n\nKaixo\0mundua", 23));
  EXPECT_EQ(o.tokens, (Strings{"Izenburua", "Kaixo", "mundua"}));
  EXPECT_EQ(o.length, html.size());
  const std::string nuls("\0a\0\0\xC3\xB1\0", 7);
  EXPECT_EQ(tokenize("text/plain", nuls).text, nuls);
}

TEST(TokenizerConstructorTest, RefusesWithTheRightMessage) {
  const std::string empty = "Testurik gabeko fitxategia ezin da indexatu.\n";
  const auto invalid = [](int offset) {
    return "UTF-8 baliogabea " + std::to_string(offset) +
           ". bytean: fitxategia ezin da indexatu.\n";
  };
  const struct {
    const char* mime;
    std::string data;
    std::string messages;
  } cases[] = {
      {nullptr, "a", "Mime ezezaguna duen fitxategia ezin da indexatu.\n"},
      {"text/xml", "a", "text/xml tokenizatzailea inplementatu gabe.\n"},
      {"text/plai", "a", "text/plai tokenizatzailea inplementatu gabe.\n"},
      {"", "a", " tokenizatzailea inplementatu gabe.\n"},
      {"text/plain", "", empty},
      {"text/html", page("", ""), empty},
      {"text/html", "<p>izenbururik gabe</p>", ""},
      {"text/html", page("a", "b\xFF"), ""},
      {"text/plain", "abc\xC3", invalid(3)},
      {"text/plain", std::string("a\0\xED\xA0\x80", 5), invalid(2)},
  };
  for (const auto& c : cases) {
    const Outcome o = tokenize(c.mime, c.data);
    EXPECT_EQ(o.text, "refused") << c.data;
    EXPECT_EQ(o.messages, c.messages);
  }
  EXPECT_EQ(tokenize("text/plain", "a", -1).text, "refused");
  // Beyond the last character of Unicode the conversion yields other bytes.
  for (const char* reference : {"&#0x110000;", "&#0x7FFFFFFF;"}) {
    EXPECT_EQ(tokenize("text/html", page("a", reference)).text, "refused") << reference;
  }
}

}  // namespace
