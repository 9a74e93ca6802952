// The lemmatizer for the web, asked of the default lexicon.
#include "lexicon/web_lemmatizer.h"

#include <chrono>

#include "lexicon/articledb_lemmatizer.h"
#include "tests/support/repeat.h"
#include "tests/tools/engine.h"

namespace {

// Loaded once.
void* Lexicon() {
  static void* const lexicon =
      articledb_simple_fst_lemmatizer_new(FENRA_BASQUE_DIRECTORY "/lexicon.fst");
  return lexicon;
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

// Every line begins with the lemma of all its words.
void ExpectLemmas(const std::string& lines) {
  std::istringstream text(lines);
  for (std::string line; std::getline(text, line);) {
    const std::vector<std::string> words = fenra_test::Split(line);
    for (const std::string& word : words) {
      EXPECT_EQ(LemmaOf(word), words.front());
    }
  }
}

TEST(WebLemmatizer, NamesAndAcronymsWithTheirEndings) {
  ExpectLemmas(
      "bilbo bilbon bilbora bilboko bilbokoak\n"
      "donostia donostiara donostiakoei\n"
      "gasteiz gasteizen gasteizko\n"
      "miren mirenekin mirenek\n"
      "zarautz zarauzko zarautzera\n"
      "irunea irunean iruneko\n"
      "eaj eajren eajk\n"
      "nato natoko natok\n"
      "washington washingtonen washingtonera\n"
      "etxe etxeak etxerako\n"
      "andereno anderenoak\n");
}

TEST(WebLemmatizer, HyphensApostrophesAndNumbers) {
  ExpectLemmas(
      "pdf pdf-aren pdf-ak pdf-etan\n"
      "2009 2009ko 2009an 2009-ko\n"
      "1.5 1.5eko\n"
      "eremu-izen eremu-izenak eremu-izenetan\n"
      "telekomunikabide-sare telekomunikabide-sareak telekomunikabide-sareetan\n"
      "bizi-era\n"
      "gnome-shell gnome-shell-aren\n"
      "5k\nb2b\n4a\n"
      "berria.eus\n"
      "\xd0\xbc\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0 "
      "\xd0\xbc\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0-ren "
      "\xd0\xbc\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0ren\n");
}

// Not in any list: what is taken off is what is probable.
TEST(WebLemmatizer, UnknownWords) {
  ExpectLemmas(
      "dubrovna dubrovnak dubrovnaren dubrovnarekin\n"
      "gribnovic gribnovicek gribnovicen gribnovicekin\n"
      "tramborough tramboroughek tramboroughen\n"
      "kremlindorf kremlindorfen kremlindorfeko\n");
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
    EXPECT_FALSE(LemmaOf(repeat(piece, 500000)).empty()) << piece;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
