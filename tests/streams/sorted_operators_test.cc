// Intersection, union and difference of two sorted streams.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <random>

#include "streams/articledb_generator.h"
#include "tests/streams/stub_generator.h"

namespace fenra_test {
namespace {

using Constructor = OstrenGenerator* (*)(OstrenGenerator*, OstrenGenerator*);

struct OperatorCase {
  const char* description;
  Constructor construct;
  Script left, right;
  Script expected;  // every pull up to the end
};

void PrintTo(const OperatorCase& c, std::ostream* os) { *os << c.description; }

class OperatorTest : public testing::TestWithParam<OperatorCase> {};

TEST_P(OperatorTest, DeliversAndFrees) {
  Log log;
  Stub left(GetParam().left, 1, &log);
  Stub right(GetParam().right, 2, &log);
  OstrenGenerator* result = GetParam().construct(left.generator(), right.generator());
  EXPECT_EQ(GetParam().expected, drain(result));
  log.clear();
  EXPECT_EQ(0, ostren_generator_free(result));
  EXPECT_EQ((Log{~1, ~2}), log);
}

const Constructor kCut = articledb_guint64_cutter_new;
const Constructor kUnite = articledb_guint64_unioner_new;
const Constructor kSubtract = articledb_guint64_substractor_new;

INSTANTIATE_TEST_SUITE_P(
    Cutter, OperatorTest,
    testing::Values(
        OperatorCase{"common elements", kCut, {1, 3, 5}, {2, 3, 4, 5}, {3, 5}},
        OperatorCase{"empty left", kCut, {}, {1, 2}, {}},
        OperatorCase{"empty right", kCut, {1, 2}, {}, {}},
        OperatorCase{"duplicates come min times", kCut, {4, 4, 4, 9}, {4, 4, 9, 9}, {4, 4, 9}},
        OperatorCase{"left fails at once", kCut, {kFail, 1}, {1, 2}, {}},
        OperatorCase{"left fails and recovers", kCut, {1, kFail, 2, 3}, {1, 2, 3, 4}, {1}},
        OperatorCase{"right fails and recovers", kCut, {1, 2, 3, 4}, {1, kFail, 2, 3, 4}, {1}},
        OperatorCase{"failure while catching up", kCut, {1, 5, 6}, {3, kFail, 5, 6}, {}}));

INSTANTIATE_TEST_SUITE_P(
    Unioner, OperatorTest,
    testing::Values(
        OperatorCase{"common element once", kUnite, {1, 3}, {2, 3, 4}, {1, 2, 3, 4}},
        OperatorCase{"duplicates, right empty", kUnite, {1, 1}, {}, {1, 1}},
        OperatorCase{"duplicates come max times", kUnite, {4, 4, 4}, {4, 4, 9, 9}, {4, 4, 4, 9, 9}},
        OperatorCase{"left fails at creation", kUnite, {kFail, 1}, {2, 3}, {2, 3}},
        OperatorCase{"right fails at creation", kUnite, {2, 3}, {kFail, 1}, {2, 3}},
        OperatorCase{"both fail at creation", kUnite, {kFail, 1}, {kFail, 1}, {}},
        OperatorCase{"left fails, right lives", kUnite, {1, kFail, 4}, {2, 5}, {1, 2, 5}},
        OperatorCase{"the last one fails", kUnite, {1}, {2, kFail, 3}, {1, 2, kFail}},
        OperatorCase{"both fail in one pull", kUnite, {3, kFail, 4}, {3, kFail, 4}, {3}}));

INSTANTIATE_TEST_SUITE_P(
    Substractor, OperatorTest,
    testing::Values(
        OperatorCase{"removes", kSubtract, {1, 2, 3, 4}, {2, 4, 6}, {1, 3}},
        OperatorCase{"empty right", kSubtract, {1, 2}, {}, {1, 2}},
        OperatorCase{"empty left", kSubtract, {}, {1, 2}, {}},
        OperatorCase{"duplicates come k - m times", kSubtract, {4, 4, 4, 9}, {4, 9, 9}, {4, 4}},
        OperatorCase{"left fails and recovers", kSubtract, {1, kFail, 3}, {2}, {1, kFail, 3}},
        OperatorCase{"left fails behind a match", kSubtract, {2, kFail, 3}, {2, 9}, {kFail, 3}}));

// A failed right input keeps failing, and each pull still consumes a left element.
TEST(Substractor, RightFailureIsPassedOnForEver) {
  for (const Script& right : {Script{kFail, 1}, Script{2, kFail, 3}}) {
    Stub left({2, 3, 4});
    Stub failing(right);
    GeneratorPtr result(kSubtract(left.generator(), failing.generator()));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(kFail, pull(result.get()));
    EXPECT_GE(left.pulls(), 6);
    EXPECT_LE(failing.pulls(), 2);
  }
}

// Which input is asked when: 1 is left, 2 is right.
TEST(OperatorPulls, FollowTheOrderOfTheMerge) {
  const struct {
    Constructor construct;
    std::vector<Log> expected;  // at creation, then by each pull
  } cases[] = {
      {kCut, {{}, {1, 2, 1}, {1, 2, 2}, {1, 2}, {}}},
      {kUnite, {{1, 2}, {}, {1}, {1, 2}, {2}, {1, 2}, {}}},
      {kSubtract, {{2}, {1}, {1, 1, 2, 2, 1, 2}, {1}, {1}}},
  };
  for (const auto& c : cases) {
    Log log;
    Stub left({1, 3, 6}, 1, &log);
    Stub right({3, 4, 6}, 2, &log);
    GeneratorPtr result(c.construct(left.generator(), right.generator()));
    std::vector<Log> pulls = {log};
    while (pulls.size() < c.expected.size()) {
      log.clear();
      pull(result.get());
      pulls.push_back(log);
    }
    EXPECT_EQ(c.expected, pulls);
  }
}

TEST(OperatorElements, BelongToTheLeftInputOfATie) {
  for (const Constructor construct : {kCut, kUnite}) {
    Stub left({8}), right({8});
    GeneratorPtr result(construct(left.generator(), right.generator()));
    void* item = nullptr;
    EXPECT_EQ(1, ostren_generator_next(result.get(), &item));
    EXPECT_TRUE(left.owns(item));
  }
}

TEST(OperatorDeathTest, NullInputIsFatalAtItsFirstPullOrFree) {
  for (const Constructor construct : {kCut, kUnite, kSubtract}) {
    for (const bool pulled : {true, false}) {
      const auto use = [&](OstrenGenerator* left, OstrenGenerator* right) {
        OstrenGenerator* result = construct(left, right);
        if (pulled) {
          pull(result);
        }
        ostren_generator_free(result);
      };
      Stub other({1, 2});
      EXPECT_DEATH(use(nullptr, other.generator()), "`gener != .* failed");
      EXPECT_DEATH(use(other.generator(), nullptr), "`gener != .* failed");
    }
  }
}

TEST(OperatorElements, AreComparedUnsigned) {
  guint64 values[] = {1, guint64{1} << 63};
  EXPECT_EQ(-1, guint64_cmp(&values[0], &values[1]));
  EXPECT_EQ(1, guint64_cmp(&values[1], &values[0]));
  EXPECT_EQ(0, guint64_cmp(&values[1], &values[1]));
}

// A stream over random expressions and sets, and what it shall give: the multiset
// algorithms of the standard library treat duplicates in the same way.
OstrenGenerator* randomStream(std::mt19937* random, int depth, std::deque<Stub>* leaves,
                              Script* expected) {
  const auto below = [random](unsigned limit) { return (*random)() % limit; };
  if (depth == 0 || below(5) == 0) {
    guint64 id = 1;
    for (auto i = below(60); i > 0; --i) {
      expected->push_back(id += below(4));
    }
    return leaves->emplace_back(*expected).generator();
  }
  Script a, b;
  OstrenGenerator* left = randomStream(random, depth - 1, leaves, &a);
  OstrenGenerator* right = randomStream(random, depth - 1, leaves, &b);
  const auto out = std::back_inserter(*expected);
  switch (below(3)) {
    case 0:
      std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), out);
      return kCut(left, right);
    case 1:
      std::set_union(a.begin(), a.end(), b.begin(), b.end(), out);
      return kUnite(left, right);
    default:
      std::set_difference(a.begin(), a.end(), b.begin(), b.end(), out);
      return kSubtract(left, right);
  }
}

TEST(OperatorAlgebra, AgreesWithTheStandardAlgorithms) {
  for (unsigned seed = 0; seed < 2000; ++seed) {
    std::mt19937 random(seed);
    std::deque<Stub> leaves;
    Script expected;
    GeneratorPtr stream(randomStream(&random, static_cast<int>(seed % 6), &leaves, &expected));
    ASSERT_EQ(expected, drain(stream.get())) << seed;
    stream.reset();
    for (const Stub& leaf : leaves) {
      ASSERT_EQ(1, leaf.frees()) << seed;
    }
  }
}

}  // namespace
}  // namespace fenra_test
