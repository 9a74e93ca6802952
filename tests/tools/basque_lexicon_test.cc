// The default lexicon as it was built, by the lemmas it gives.
#include <fstream>
#include <random>
#include <set>

#include "lexicon/articledb_lemmatizer.h"
#include "tests/tools/built_lexicon.h"
#include "tools/lexicon_evaluation/gold.h"
#include "tools/lexicon_evaluation/running.h"
#include "tools/lexicon_evaluation/score.h"

namespace {

using namespace fenra_test;  // NOLINT
using lexicon_evaluation::GoldForm;

constexpr int kMostOpenEntries = 120;

const FstPtr& Lexicon() {
  static const FstPtr& fst =
      *new FstPtr(lk_fst_new_from_binary_file(FENRA_BASQUE_DIRECTORY "/lexicon.fst"));
  return fst;
}

std::vector<GoldForm> Gold() {
  std::ifstream file(FENRA_GOLD_FILE);
  return lexicon_evaluation::ReadGold(file);
}

TEST(BasqueLexicon, KeepsTheCommonPromises) { ExpectCommonPromises(Lexicon()); }

lexicon_evaluation::Score Judge(const std::vector<GoldForm>& gold) {
  void* lemmatizer = articledb_simple_fst_lemmatizer_new(FENRA_BASQUE_DIRECTORY "/lexicon.fst");
  EXPECT_NE(lemmatizer, nullptr);
  const lexicon_evaluation::Score score =
      lexicon_evaluation::Evaluate(gold, [&](const std::string& form) {
        GList* lemmas = articledb_simple_fst_lemmatizer_first_lemma(lemmatizer, form.data(),
                                                                    static_cast<int>(form.size()));
        const std::string lemma = static_cast<const char*>(lemmas->data);
        articledb_string_list_free(lemmas);
        return lexicon_evaluation::Answer{!LookUp(Lexicon(), form).empty(), lemma};
      });
  articledb_simple_fst_lemmatizer_free(lemmatizer);
  return score;
}

// Floors a little under what the lexicon reaches.
TEST(BasqueLexicon, LemmasOfTheGoldFiles) {
  const std::vector<GoldForm> gold = Gold();
  ASSERT_GE(gold.size(), 1500U);
  const lexicon_evaluation::Score forms = Judge(gold);
  EXPECT_GE(forms.coverage, 99.5);
  EXPECT_GE(forms.accuracy, 97.0);
  EXPECT_GE(forms.f1, 97.0);

  std::ifstream text(FENRA_RUNNING_FILE);
  const std::vector<lexicon_evaluation::Selection> selections =
      lexicon_evaluation::Selections(lexicon_evaluation::ReadRunning(text));
  ASSERT_GE(selections[0].words.size(), 3000U);
  const lexicon_evaluation::Score small = Judge(selections[2].words);
  EXPECT_GE(small.coverage, 99.5);
  EXPECT_GE(small.accuracy, 94.5);
  EXPECT_GE(small.f1, 98.0);
}

// Words that the gold file does not have: rules at work on rarer stems and forms.
TEST(BasqueLexicon, FirstResults) {
  ExpectFirstResults(Lexicon(),
                     "ekarriko ADI/ekarri+  berrikusten ADI/berrikusi+  zihoazen ADT/joan+  "
                     "baitzebilen ADT/ibili+  badaramatzate ADT/eraman+  dakigunik ADT/jakin+  "
                     "zaudetenean ADT/egon+  genezakeen ADL/ezan+  diezaiogun ADL/ezan+  "
                     "zitzaizkigun ADL/izan+  dutenentzat ADL/edun+  gaituztelako ADL/edun+  "
                     "lurrikaretan IZE/lurrikara+  elefanteekin IZE/elefante+  "
                     "margolarientzat IZE/margolari+  hegazkinetik IZE/hegazkin+  "
                     "zakurrarengana IZE/zakur+  gizonarenak IZE/gizon+  umezurtzak IZE/umezurtz+  "
                     "zientziaren IZE/zientzia+  etxe-jabeek IZE/etxe-jabe+  "
                     "azpibatzordeak IZE/azpibatzorde+  politenak ADJ/polit+  neuretzat IOR/ni+  "
                     "hogeita-bosgarren DET/hogeita-bosgarren+");
  // Readings that other words would hide.
  ExpectFirstResults(Lexicon(),
                     "jokoaren IZE/joko+  karaktere-jokoak IZE/karaktere-joko+  "
                     "janari IZE/janari+  haustura IZE/haustura+  txokoan IZE/txoko+  "
                     "estomago IZE/estomago+  barrokoa ADJ/barroko+  aurkez ADI/aurkeztu+  "
                     "gera ADI/geratu+  urrezkoa IZE/urre+  horientzako DET/hori+  "
                     "aritzen ADI/ari+  bertan-behera ADB/bertan-behera+");
  // Dialects.
  ExpectFirstResults(Lexicon(),
                     "zan ADL/izan+  daben ADL/edun+  ebazanean ADL/edun+  deutsagu ADL/edun+  "
                     "dagozan ADT/egon+  girela ADL/izan+  huntarako DET/hau+  nundik ADB/non+  "
                     "elgarrekin IOR/elkar+  erraiten ADI/erran+");
  // Stems that nobody has listed.
  ExpectFirstResults(Lexicon(),
                     "blurbak IZE/blurb+  blurbean IZE/blurb+  tweetarekin IZE/tweet+  "
                     "frikoaren IZE/friko+  wikipediako IZE/wikipedia+  krownarietan "
                     "IZE/krownari+  trolleatzen ADI/trolleatu+");
  EXPECT_TRUE(LookUp(Lexicon(), "blurba").empty());
}

TEST(BasqueLexicon, ResultsAreCategoryAndLemma) {
  const std::set<std::string> exact = {"da", "zuen", "badu", "bada"};
  for (const GoldForm& form : Gold()) {
    for (const std::string& result : LookUp(Lexicon(), form.form)) {
      EXPECT_TRUE(exact.count(form.form) > 0 ||
                  (result.find('/') == 3 && result.find('+') == result.size() - 1))
          << form.form << " " << result;
    }
    EXPECT_LE(LastCost().entries, kMostOpenEntries) << form.form;
  }
}

// Pieces of words put together at random keep more of the search open than words.
TEST(BasqueLexicon, NoWordNeedsADeepStack) {
  std::mt19937 random(2);
  const std::vector<GoldForm> gold = Gold();
  int deepest = 0;
  for (int round = 0; round < 20000; round++) {
    std::string word;
    for (uint32_t pieces = 1 + random() % 5; pieces > 0; pieces--) {
      const std::string& form = gold[random() % gold.size()].form;
      word += form.substr(0, 1 + random() % form.size());
      word += random() % 3 == 0 ? "-" : "";
    }
    LookUp(Lexicon(), word);
    deepest = std::max(deepest, LastCost().entries);
  }
  EXPECT_LE(deepest, kMostOpenEntries);
  EXPECT_GT(deepest, 20);
}

}  // namespace
