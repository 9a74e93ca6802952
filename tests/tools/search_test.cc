// What the compiler assumes about the engine's search: the order of results and
// the depth of the stack.
#include <gtest/gtest.h>

#include "tests/tools/engine.h"
#include "tests/tools/reference.h"
#include "tools/lexicon_compiler/att_text.h"
#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/search_bound.h"
#include "tools/lexicon_compiler/search_order.h"
#include "tools/lexicon_compiler/transducer.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using fenra_test::FstPtr;
using fenra_test::Load;
using fenra_test::LookUp;
using fenra_test::PeakEntries;
using fenra_test::Random;
using fenra_test::RandomTransducer;

// All words over the alphabet of random transducers, up to the given length.
std::vector<std::string> Words(size_t length) {
  std::vector<std::string> words{""};
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i].size() < length) {
      words.push_back(words[i] + 'a');
      words.push_back(words[i] + 'b');
    }
  }
  return words;
}

TEST(Search, FollowsTheOrderOfArcsAndReachesTheBound) {
  Random random(6);
  const std::vector<std::string> words = Words(6);
  int loaded = 0;
  for (int round = 0; round < 1000; ++round) {
    const Transducer transducer = Minimise(RandomTransducer(&random, 8));
    if (transducer.states[0].arcs.empty()) {
      continue;
    }
    ++loaded;
    const FstPtr fst = Load(transducer);
    ASSERT_NE(fst, nullptr);
    int peak = 0;
    for (const std::string& word : words) {
      ASSERT_EQ(LookUp(fst, word), fenra_test::Results(transducer, word)) << round << ' ' << word;
      peak = std::max(peak, PeakEntries());
    }
    ASSERT_EQ(SearchBound(transducer), peak) << round;
  }
  EXPECT_GT(loaded, 500);
}

TEST(SearchBound, RejectsCycles) {
  Transducer transducer;
  const uint32_t next = transducer.Extend(0, 'a', 'a');
  transducer.AddArc(next, 'b', 'b', 0);
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
  EXPECT_NE(Load(finals), nullptr);
  finals.states[0].is_final = true;
  EXPECT_THROW(AttText(finals), BuildError);
}

}  // namespace
