#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "tools/lexicon_evaluation/gold.h"
#include "tools/lexicon_evaluation/running.h"
#include "tools/lexicon_evaluation/score.h"

namespace {

using namespace lexicon_evaluation;  // NOLINT

std::vector<GoldForm> Read(const std::string& text) {
  std::istringstream source(text);
  return ReadGold(source);
}

TEST(LexiconEvaluation, ScoresByHand) {
  const std::vector<GoldForm> gold = Read(
      "# comment\n"
      "\n"
      "IZE etxe etxea*3 etxeko etxean   # and more\n"
      "IZE lan lana lanak\n"
      "LOT eta eta*4\n");
  ASSERT_EQ(gold.size(), 6U);
  EXPECT_EQ(gold[0].weight, 3);
  const std::map<std::string, std::string> lemmas = {
      {"etxea", "etxe"}, {"etxeko", "etxe"}, {"lana", "etxe"}, {"lanak", "lan"}, {"eta", "e"}};
  const Score score = Evaluate(gold, [&](const std::string& form) {
    const auto lemma = lemmas.find(form);
    return lemma == lemmas.end() ? Answer{false, form} : Answer{true, lemma->second};
  });
  EXPECT_DOUBLE_EQ(score.coverage, 100.0 * 10 / 11);
  EXPECT_DOUBLE_EQ(score.accuracy, 100.0 * 5 / 11);
  // Found pairs: etxea-etxeko (right), etxea-lana, etxeko-lana. In the gold file:
  // three of etxe, one of lan.
  EXPECT_DOUBLE_EQ(score.precision, 100.0 / 3);
  EXPECT_DOUBLE_EQ(score.recall, 25.0);
  EXPECT_NEAR(score.f1, 28.571, 0.001);
  ASSERT_EQ(score.wrong.size(), 3U);
  EXPECT_EQ(score.wrong[0].gold.form, "eta");
}

TEST(LexiconEvaluation, RunningTextIsSelectedByCapitalsAndNames) {
  std::istringstream source(
      "# comment\n"
      "Etxea:etxe:IZE UPV/EHUko:UPV/EHU:SIG eta:LOT   # and more\n"
      "etxean:etxe:IZE marketing-aren:marketing:ATZ\n");
  const std::vector<Selection> selections = Selections(ReadRunning(source));
  std::string text;
  for (const Selection& selection : selections) {
    text += selection.name;
    for (const GoldForm& word : selection.words) {
      text += " " + word.form + "/" + word.lemma;
    }
    text += "\n";
  }
  EXPECT_EQ(text,
            "all Etxea/etxe UPV/EHUko/UPV/EHU eta/eta etxean/etxe marketing-aren/marketing\n"
            "folded etxea/etxe upv/ehuko/upv/ehu eta/eta etxean/etxe marketing-aren/marketing\n"
            "small eta/eta etxean/etxe\n"
            "names UPV/EHUko/UPV/EHU marketing-aren/marketing\n");
}

}  // namespace
