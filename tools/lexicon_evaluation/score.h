// How well a lemmatizer does on gold forms.
#ifndef FENRA_TOOLS_LEXICON_EVALUATION_SCORE_H
#define FENRA_TOOLS_LEXICON_EVALUATION_SCORE_H

#include <functional>
#include <string>
#include <vector>

#include "tools/lexicon_evaluation/gold.h"

namespace lexicon_evaluation {

struct Answer {
  bool is_known;
  std::string lemma;  // the form itself when it is not known
};
using Lemmatizer = std::function<Answer(const std::string& form)>;

struct Wrong {
  GoldForm gold;
  Answer answer;
};

// Percentages. Coverage and accuracy weigh the forms, and a lemma may be folded; conflation looks
// at every pair of different content forms once: a pair is found when both get the same lemma, and
// right when both have the same lemma in the gold file.
struct Score {
  double coverage = 0;
  double accuracy = 0;
  double precision = 0;
  double recall = 0;
  double f1 = 0;
  std::vector<Wrong> wrong;  // forms with another lemma, heaviest first
};

Score Evaluate(const std::vector<GoldForm>& gold, const Lemmatizer& lemmatizer);

}  // namespace lexicon_evaluation

#endif  // FENRA_TOOLS_LEXICON_EVALUATION_SCORE_H
