// The lemmatizer for the web, asked of the default lexicon.
#include "lexicon/web_lemmatizer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include "lexicon/articledb_lemmatizer.h"
#include "tests/tools/engine.h"

namespace {

struct FreeLemmatizer {
  void operator()(void* lemmatizer) const { articledb_simple_fst_lemmatizer_free(lemmatizer); }
};

void* Lexicon() {
  static const auto& lexicon = *new std::unique_ptr<void, FreeLemmatizer>(
      articledb_simple_fst_lemmatizer_new(FENRA_BASQUE_DIRECTORY "/lexicon.fst"));
  return lexicon.get();
}

std::string Taken(GList* lemmas) {
  std::string lemma = static_cast<const char*>(lemmas->data);
  EXPECT_EQ(lemmas->next, nullptr);
  articledb_string_list_free(lemmas);
  return lemma;
}

std::string LemmaOf(const std::string& form) {
  return Taken(
      articledb_web_lemmatizer_first_lemma(Lexicon(), form.data(), static_cast<int>(form.size())));
}

TEST(WebLemmatizer, GivesTheLemmasOfTheWeb) {
  std::ifstream file(FENRA_TEST_DATA "/web_lemmas.txt");
  int checked = 0;
  for (std::string line; std::getline(file, line);) {
    const std::vector<std::string> words = fenra_test::Split(line[0] == '#' ? "" : line);
    for (const std::string& word : words) {
      EXPECT_EQ(LemmaOf(word), words.front());
      ++checked;
    }
  }
  EXPECT_GT(checked, 70);
}

TEST(WebLemmatizer, BothLemmatizersOfOneLexiconKeepApart) {
  for (int round = 0; round < 2; round++) {
    EXPECT_EQ(LemmaOf("da"), "izan");
    EXPECT_EQ(Taken(articledb_simple_fst_lemmatizer_first_lemma(Lexicon(), "da", 2)), "da");
  }
}

TEST(WebLemmatizer, AnyBytesInLinearTime) {
  EXPECT_EQ(articledb_web_lemmatizer_first_lemma(nullptr, "da", 2), nullptr);
  for (const std::string& form : {std::string(), std::string("-"), std::string("'"),
                                  std::string("\xff-"), std::string("~")}) {
    EXPECT_EQ(LemmaOf(form), form);
  }
  EXPECT_EQ(LemmaOf(std::string("etxea\0k", 7)), "etxe");
  const auto start = std::chrono::steady_clock::now();
  for (const char* piece : {"a", "-", "a-", "ko", "ko-", "\xff", "1", "'a", "~"}) {
    std::string form;
    while (form.size() < 1000000) {
      form += piece;
    }
    EXPECT_FALSE(LemmaOf(form).empty()) << piece;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
