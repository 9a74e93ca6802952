// The default lexicon as it was built, by the lemmas it gives.
#include <fstream>
#include <sstream>

#include "lexicon/articledb_lemmatizer.h"
#include "lexicon/web_lemmatizer.h"
#include "tests/tools/engine.h"
#include "tools/lexicon_evaluation/gold.h"
#include "tools/lexicon_evaluation/running.h"
#include "tools/lexicon_evaluation/score.h"

namespace {

using namespace fenra_test;  // NOLINT
using lexicon_evaluation::GoldForm;

const FstPtr& Lexicon() {
  static const FstPtr& fst =
      *new FstPtr(lk_fst_new_from_binary_file(FENRA_BASQUE_DIRECTORY "/lexicon.fst"));
  return fst;
}

std::vector<GoldForm> Gold() {
  std::ifstream file(FENRA_GOLD_FILE);
  return lexicon_evaluation::ReadGold(file);
}

// Small ASCII letters below, and the first of the keys of endings; ASCII above.
TEST(BasqueLexicon, LabelsAndExactResults) {
  ASSERT_NE(Lexicon(), nullptr);
  EXPECT_EQ(Lexicon()->flags, LK_FST_SORTED_LOWER);
  for (uint32_t i = 0; i < Lexicon()->edge_count; ++i) {
    const Edge& arc = Lexicon()->data[i];
    ASSERT_TRUE(arc.lower == 0 || arc.lower == '-' || arc.lower == '~' ||
                (arc.lower >= 'a' && arc.lower <= 'z'))
        << i;
    ASSERT_LT(arc.upper, 128) << i;
  }
  ExpectAnalyses(
      Lexicon(),
      {{{"ADT/izan", "ADL/izan"}, "da"},
       {{"ADL/edun", "ADL/edun+", "IOR/zuek+", "IOR/zuek++", "ADT/ukan", "ADT/ukan+"}, "zuen"},
       {{"+ADL/edun", "+ADT/ukan"}, "badu"},
       {{}, "Etxe etxE"}});
  EXPECT_EQ(LookUp(Lexicon(), "bada").at(0)[0], '+');
}

using Ask = GList* (*)(void*, const char*, int);

lexicon_evaluation::Score Judge(const std::vector<GoldForm>& gold, Ask ask) {
  void* lemmatizer = articledb_simple_fst_lemmatizer_new(FENRA_BASQUE_DIRECTORY "/lexicon.fst");
  EXPECT_NE(lemmatizer, nullptr);
  const bool is_web = ask == articledb_web_lemmatizer_first_lemma;
  const lexicon_evaluation::Score score =
      lexicon_evaluation::Evaluate(gold, [&](const std::string& as_it_stands) {
        const std::string form = is_web ? lexicon_evaluation::Folded(as_it_stands) : as_it_stands;
        GList* lemmas = ask(lemmatizer, form.data(), static_cast<int>(form.size()));
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
  const lexicon_evaluation::Score forms = Judge(gold, articledb_simple_fst_lemmatizer_first_lemma);
  EXPECT_GE(forms.coverage, 99.5);
  EXPECT_GE(forms.accuracy, 98.0);
  EXPECT_GE(forms.f1, 98.0);

  std::stringstream text;
  for (const char* path : {FENRA_RUNNING_FILE, FENRA_NAMES_FILE}) {
    text << std::ifstream(path).rdbuf();
  }
  const auto selections = lexicon_evaluation::Selections(lexicon_evaluation::ReadRunning(text));
  ASSERT_GE(selections[lexicon_evaluation::kAll].words.size(), 4000U);
  const auto& small_words = selections[lexicon_evaluation::kSmall].words;
  const lexicon_evaluation::Score small =
      Judge(small_words, articledb_simple_fst_lemmatizer_first_lemma);
  EXPECT_GE(small.coverage, 99.5);
  EXPECT_GE(small.accuracy, 94.5);
  EXPECT_GE(small.f1, 98.0);
  const auto& all_words = selections[lexicon_evaluation::kAll].words;
  EXPECT_GE(Judge(all_words, articledb_web_lemmatizer_first_lemma).f1, 96.0);
  const auto& names = selections[lexicon_evaluation::kNames].words;
  EXPECT_GE(Judge(names, articledb_web_lemmatizer_first_lemma).f1, 90.0);
}

// Rules at work on rarer stems and forms.
TEST(BasqueLexicon, FirstResults) {
  std::ifstream file(FENRA_TEST_DATA "/first_results.txt");
  int checked = 0;
  for (std::string line; std::getline(file, line);) {
    const std::vector<std::string> texts = Split(line[0] == '#' ? "" : line);
    for (size_t i = 0; i < texts.size(); i += 2, ++checked) {
      EXPECT_EQ(LookUp(Lexicon(), texts[i]).at(0), texts.at(i + 1)) << texts[i];
    }
  }
  EXPECT_GT(checked, 50);
  EXPECT_TRUE(LookUp(Lexicon(), "blurba").empty());
}

}  // namespace
