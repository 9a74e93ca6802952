#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "tools/lexicon_evaluation/gold.h"
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

}  // namespace
