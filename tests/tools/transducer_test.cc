#include "tools/lexicon_compiler/transducer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tools/reference.h"
#include "tools/lexicon_compiler/build_error.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using fenra_test::AllPaths;
using fenra_test::Lower;
using fenra_test::Pairs;
using fenra_test::Random;
using fenra_test::RandomTransducer;
using fenra_test::Relation;

constexpr int kRounds = 2000;

TEST(Determinise, KeepsTheRelationAndMakesPairsUnique) {
  Random random(1);
  for (int round = 0; round < kRounds; ++round) {
    const Transducer source = RandomTransducer(&random, 9);
    const Transducer result = Determinise(source);
    ASSERT_EQ(Relation(result), Relation(source)) << round;
    for (const State& state : result.states) {
      for (size_t i = 0; i < state.arcs.size(); ++i) {
        const Arc& arc = state.arcs[i];
        ASSERT_FALSE(arc.lower == 0 && arc.upper == 0) << round;
        ASSERT_TRUE(i == 0 || std::pair(state.arcs[i - 1].lower, state.arcs[i - 1].upper) <
                                  std::pair(arc.lower, arc.upper))
            << round;
      }
    }
  }
}

TEST(Minimise, KeepsTheOrderOfPaths) {
  Random random(2);
  for (int round = 0; round < kRounds; ++round) {
    Transducer source = RandomTransducer(&random, 9);
    ASSERT_EQ(AllPaths(Minimise(source)), AllPaths(source)) << round;
    source = Determinise(source);
    for (State& state : source.states) {
      std::shuffle(state.arcs.begin(), state.arcs.end(), random);
    }
    ASSERT_EQ(AllPaths(Minimise(source)), AllPaths(source)) << round;
  }
}

TEST(Minimise, LeavesOneStateForEachSetOfContinuations) {
  Random random(3);
  for (int round = 0; round < kRounds; ++round) {
    const Transducer source = Determinise(RandomTransducer(&random, 9));
    std::set<std::vector<Pairs>> continuations;
    for (uint32_t state = 0; state < source.states.size(); ++state) {
      continuations.insert(AllPaths(source, state));
    }
    continuations.erase(std::vector<Pairs>());  // states that lead nowhere
    const size_t smallest = std::max(continuations.size(), size_t{1});
    ASSERT_EQ(Minimise(source).states.size(), smallest) << round;
  }
}

TEST(Minimise, RejectsCycles) {
  Transducer transducer;
  const uint32_t next = transducer.Extend(0, 'a', 'a');
  transducer.AddArc(next, 'b', 'b', 0);
  EXPECT_THROW(Minimise(transducer), BuildError);
}

TEST(WithoutWords, RemovesExactlyThosePaths) {
  Random random(4);
  const std::vector<std::string> words = {"a", "ab", "bab"};
  for (int round = 0; round < kRounds; ++round) {
    const Transducer source = RandomTransducer(&random, 9);
    std::set<Pairs> expected = Relation(source);
    for (auto path = expected.begin(); path != expected.end();) {
      const bool gone = std::find(words.begin(), words.end(), Lower(*path)) != words.end();
      path = gone ? expected.erase(path) : std::next(path);
    }
    ASSERT_EQ(Relation(WithoutWords(source, words)), expected) << round;
  }
}

TEST(MarkedCopies, AreSplitFromTheRest) {
  Random random(5);
  size_t copies = 0;
  for (int round = 0; round < kRounds; ++round) {
    const Transducer source = Determinise(RandomTransducer(&random, 9));
    std::set<Pairs> marked;
    std::set<Pairs> rest;
    for (const Pairs& path : Relation(source)) {
      const bool is_marked = !path.empty() && path.back() == std::pair('\0', 'a') &&
                             std::all_of(path.begin(), path.end() - 1, [](const auto& pair) {
                               return pair.first == pair.second;
                             });
      (is_marked ? marked : rest).insert(path);
    }
    copies += marked.size();
    ASSERT_EQ(Relation(MarkedCopies(source, 'a')), marked) << round;
    ASSERT_EQ(Relation(WithoutMarkedCopies(source, 'a')), rest) << round;
  }
  EXPECT_GT(copies, 100U);
}

}  // namespace
