// Compositions of many streams, on a small stack.
#include <gtest/gtest.h>

#include "tests/streams/stub_generator.h"
#include "tests/support/small_stack.h"

namespace fenra_test {
namespace {

// The inputs are pulled, and fail, as in the chain of unions that is built from the tail.
TEST(UnionOfList, PullsItsInputsInTheOrderOfTheChain) {
  GeneratorPtr empty(uniteList({}));
  EXPECT_EQ(Script{}, drain(empty.get()));
  Stub only({1, 2});
  EXPECT_EQ(only.generator(), uniteList({only.generator()}));
  EXPECT_EQ(0, only.pulls());
  Log log;
  Stub a({1, 3, 6, kFail}, 1, &log), b({3, kFail, 9}, 2, &log), c({3, 3, 6, kFail}, 3, &log);
  GeneratorPtr united(uniteList({a.generator(), b.generator(), c.generator()}));
  std::vector<Log> pulls = {log};
  for (const auto& [id, from_a] :
       {std::pair(1U, true), {3, true}, {3, false}, {6, true}, {0, false}}) {
    log.clear();
    void* item = nullptr;
    EXPECT_EQ(id == 0 ? 0 : 1, ostren_generator_next(united.get(), &item));
    EXPECT_TRUE(id == 0 || *static_cast<guint64*>(item) == id);
    EXPECT_EQ(from_a, a.owns(item));
    pulls.push_back(log);
  }
  EXPECT_EQ((std::vector<Log>{{2, 3, 1}, {}, {1}, {1, 2, 3}, {3}, {1, 3}}), pulls);
  Stub failed({kFail}), none({}), last({5, kFail, 6});
  united.reset(uniteList({failed.generator(), none.generator(), last.generator()}));
  EXPECT_EQ((Script{5, kFail}), drain(united.get()));
}

// A cutter that has ended before it becomes the input of another.
TEST(ChainOfCutters, AcceptsAnEndedCutter) {
  Stub a({1}), b({2, 3}), c({3});
  OstrenGenerator* ended = articledb_guint64_cutter_new(a.generator(), b.generator());
  EXPECT_EQ(Script{}, drain(ended));
  const int pulls = a.pulls();
  GeneratorPtr outer(articledb_guint64_cutter_new(ended, c.generator()));
  EXPECT_EQ(Script{}, drain(outer.get()));
  EXPECT_EQ(pulls, a.pulls());
  outer.reset();
  EXPECT_EQ(1, a.frees() * b.frees() * c.frees());
}

constexpr guint64 kMany = 1000000;

// The n-th input is the range n, n + 1: the union is 1 to kMany + 1, in which
// every id but the two at the ends is a tie.
TEST(UnionOfList, OfAMillionStreamsFitsASmallStack) {
  guint64 in_order = 0;
  on_small_stack([&] {
    Generators ranges;
    for (guint64 n = 1; n <= kMany; ++n) {
      ranges.push_back(ostren_guint64_range_generator_new(n, n + 2));
    }
    const GeneratorPtr united(uniteList(ranges));
    while (pull(united.get()) == in_order + 1) {
      ++in_order;
    }
  });
  EXPECT_EQ(kMany + 1, in_order);
}

// Only the innermost stream lacks the ids 1 and 2, so that every cutter of the
// chain takes part in finding 3.
TEST(ChainOfCutters, OfAMillionStreamsFitsASmallStack) {
  Script pulls;
  on_small_stack([&] {
    OstrenGenerator* cut = ostren_guint64_range_generator_new(3, 6);
    for (guint64 n = 1; n < kMany; ++n) {
      cut = articledb_guint64_cutter_new(cut, ostren_guint64_range_generator_new(1, 5));
    }
    pulls = drain(GeneratorPtr(cut).get());
  });
  EXPECT_EQ((Script{3, 4}), pulls);
}

}  // namespace
}  // namespace fenra_test
