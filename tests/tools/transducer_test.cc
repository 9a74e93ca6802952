#include "tools/lexicon_compiler/transducer.h"

#include "tests/tools/engine.h"
#include "tests/tools/reference.h"
#include "tools/lexicon_compiler/search_bound.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT

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

TEST(Minimise, KeepsTheOrderOfPathsAndOneStateForEachSetOfContinuations) {
  Random random(2);
  for (int round = 0; round < kRounds; ++round) {
    Transducer source = RandomTransducer(&random, 9);
    ASSERT_EQ(AllPaths(Minimise(source)), AllPaths(source)) << round;
    source = Determinise(source);
    for (State& state : source.states) {
      std::shuffle(state.arcs.begin(), state.arcs.end(), random);
    }
    const Transducer result = Minimise(source);
    ASSERT_EQ(AllPaths(result), AllPaths(source)) << round;
    std::set<std::vector<Pairs>> continuations;
    for (uint32_t state = 0; state < source.states.size(); ++state) {
      continuations.insert(AllPaths(source, state));
    }
    continuations.erase(std::vector<Pairs>());  // states that lead nowhere
    ASSERT_EQ(result.states.size(), std::max(continuations.size(), size_t{1})) << round;
  }
}

TEST(Transducer, WithCyclesIsRejected) {
  Transducer transducer;
  const uint32_t next = transducer.Extend(0, 'a', 'a');
  transducer.AddArc(next, 'b', 'b', 0);
  EXPECT_THROW(Minimise(transducer), BuildError);
  EXPECT_THROW(SearchBound(transducer), BuildError);
}

TEST(AttText, RejectsWhatTheLoaderCannotRead) {
  EXPECT_THROW(AttText(Transducer()), BuildError);
  Transducer no_final;
  no_final.Extend(0, 'a', 'a');
  EXPECT_THROW(AttText(no_final), BuildError);
  for (const char label : {' ', '\n', '\x01', '\xe9'}) {
    Transducer transducer;
    transducer.states[transducer.Extend(0, 'a', label)].is_final = true;
    EXPECT_THROW(AttText(transducer), BuildError);
  }
  Transducer finals;
  for (int i = 0; i < 20000; ++i) {
    finals.states[finals.Extend(0, 'a', 'a')].is_final = true;
  }
  EXPECT_NE(fenra_test::Load(finals), nullptr);
  finals.states[0].is_final = true;
  EXPECT_THROW(AttText(finals), BuildError);
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
