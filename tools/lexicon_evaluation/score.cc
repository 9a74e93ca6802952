#include "tools/lexicon_evaluation/score.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <utility>

namespace lexicon_evaluation {

namespace {

double Percent(double part, double whole) { return whole > 0 ? 100 * part / whole : 0; }

// The number of pairs among so many.
int64_t Pairs(int64_t count) { return count * (count - 1) / 2; }

template <typename Key>
int64_t PairsWithin(const std::map<Key, int64_t>& sizes) {
  int64_t pairs = 0;
  for (const auto& [key, size] : sizes) {
    pairs += Pairs(size);
  }
  return pairs;
}

}  // namespace

Score Evaluate(const std::vector<GoldForm>& gold, const Lemmatizer& lemmatizer) {
  Score score;
  double total = 0;
  double known = 0;
  double right = 0;
  std::set<std::string> seen;
  std::map<std::string, int64_t> in_gold;
  std::map<std::string, int64_t> found;
  std::map<std::pair<std::string, std::string>, int64_t> both;
  for (const GoldForm& form : gold) {
    const Answer answer = lemmatizer(form.form);
    total += form.weight;
    known += answer.is_known ? form.weight : 0;
    if (answer.lemma == form.lemma || answer.lemma == Folded(form.lemma)) {
      right += form.weight;
    } else {
      score.wrong.push_back({form, answer});
    }
    if (IsContent(form.category) && seen.insert(form.form).second) {
      in_gold[form.lemma]++;
      found[answer.lemma]++;
      both[{form.lemma, answer.lemma}]++;
    }
  }
  score.coverage = Percent(known, total);
  score.accuracy = Percent(right, total);
  const auto right_pairs = static_cast<double>(PairsWithin(both));
  score.precision = Percent(right_pairs, static_cast<double>(PairsWithin(found)));
  score.recall = Percent(right_pairs, static_cast<double>(PairsWithin(in_gold)));
  if (score.precision + score.recall > 0) {
    score.f1 = 2 * score.precision * score.recall / (score.precision + score.recall);
  }
  std::stable_sort(score.wrong.begin(), score.wrong.end(),
                   [](const Wrong& a, const Wrong& b) { return a.gold.weight > b.gold.weight; });
  return score;
}

}  // namespace lexicon_evaluation
