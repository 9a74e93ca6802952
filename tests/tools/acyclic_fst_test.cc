#include "tools/lexicon_compiler/acyclic_fst.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <set>

namespace {

using namespace lexicon_compiler;                  // NOLINT
using Word = std::pair<std::string, std::string>;  // lower and upper side, without epsilons

void CollectWords(const AcyclicFst& fst, StateId state, const Word& read, std::set<Word>* words) {
  if (fst.IsFinal(state)) {
    words->insert(read);
  }
  for (const AcyclicFst::Arc& arc : fst.Arcs(state)) {
    Word next = read;
    next.first += arc.pair.lower == 0 ? "" : std::string(1, static_cast<char>(arc.pair.lower));
    next.second += arc.pair.upper == 0 ? "" : std::string(1, static_cast<char>(arc.pair.upper));
    CollectWords(fst, arc.target, next, words);
  }
}

std::set<Word> Words(const AcyclicFst& fst, StateId state) {
  std::set<Word> words;
  CollectWords(fst, state, {}, &words);
  return words;
}

StateId Accept(AcyclicFst* fst, const std::set<Word>& words) {
  std::vector<Path> paths;
  for (const auto& [lower, upper] : words) {
    paths.push_back({Align(lower, upper), fst->Empty()});
  }
  return fst->FromPaths(paths);
}

std::set<Word> RandomWords(std::mt19937* random) {
  std::set<Word> words;
  for (uint32_t count = (*random)() % 12; count > 0; count--) {
    Word word;
    for (std::string* side : {&word.first, &word.second}) {
      for (uint32_t length = (*random)() % 5; length > 0; length--) {
        side->push_back(static_cast<char>('a' + (*random)() % 2));
      }
    }
    words.insert(word);
  }
  return words;
}

TEST(AcyclicFst, AlignPadsTheShorterSide) {
  const std::vector<Pair> longer_lower = {{'a', 'x'}, {'b', 0}};
  const std::vector<Pair> longer_upper = {{'a', 'x'}, {0, 'y'}};
  EXPECT_EQ(Align("ab", "x"), longer_lower);
  EXPECT_EQ(Align("a", "xy"), longer_upper);
  EXPECT_TRUE(Align("", "").empty());
}

TEST(AcyclicFst, OperationsAgreeWithSets) {
  std::mt19937 random(3);
  for (int round = 0; round < 500; round++) {
    AcyclicFst fst;
    const std::set<Word> a = RandomWords(&random);
    const std::set<Word> b = RandomWords(&random);
    const StateId state_a = Accept(&fst, a);
    const StateId state_b = Accept(&fst, b);
    ASSERT_EQ(Words(fst, state_a), a);
    std::set<Word> both = a;
    both.insert(b.begin(), b.end());
    // One set of words is one state, however it came about.
    ASSERT_EQ(fst.Unite({state_a, state_b}), Accept(&fst, both)) << round;
    std::vector<std::string> removed;
    for (const Word& word : b) {
      removed.push_back(word.first);
    }
    std::set<Word> kept;
    std::copy_if(a.begin(), a.end(), std::inserter(kept, kept.end()), [&](const Word& word) {
      return std::find(removed.begin(), removed.end(), word.first) == removed.end();
    });
    std::set<Word> only_a;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(),
                        std::inserter(only_a, only_a.end()));
    ASSERT_EQ(fst.Minus(state_a, state_b), Accept(&fst, only_a)) << round;
    ASSERT_EQ(fst.Without(state_a, removed), Accept(&fst, kept)) << round;
  }
}

TEST(AcyclicFst, StatesThatAcceptNothingVanish) {
  AcyclicFst fst;
  EXPECT_EQ(fst.Make(false, {{{'a', 'a'}, fst.Nothing()}}), fst.Nothing());
  EXPECT_EQ(fst.Unite({}), fst.Nothing());
  EXPECT_EQ(fst.Make(true, {{{'a', 'a'}, fst.Nothing()}}), fst.Empty());
}

}  // namespace
