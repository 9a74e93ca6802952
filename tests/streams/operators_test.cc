// The protocol, the basic kinds, and intersection, union and difference of two
// sorted streams.
#include <gtest/gtest.h>

#include "tests/streams/stub_generator.h"

namespace fenra_test {
namespace {

// Brackets and stars of the assertion's text are special in death-test patterns.
constexpr char kNullGenerator[] = "`gener != \\(\\(void \\*\\)0\\)' failed";
constexpr char kNullNext[] = "`gener->nextf != \\(\\(void \\*\\)0\\)' failed";
constexpr char kNullFree[] = "`gener->freef != \\(\\(void \\*\\)0\\)' failed";

TEST(ProtocolDeathTest, BrokenContractsAreFatal) {
  OstrenGenerator headless = {nullptr, nullptr};
  void* item;
  EXPECT_DEATH(ostren_generator_init(nullptr, nullptr, nullptr), "`gener' failed");
  EXPECT_DEATH(ostren_generator_next(nullptr, &item), kNullGenerator);
  EXPECT_DEATH(ostren_generator_free(nullptr), kNullGenerator);
  EXPECT_DEATH(ostren_generator_next(&headless, &item), kNullNext);
  EXPECT_DEATH(ostren_generator_free(&headless), kNullFree);
}

TEST(BasicGenerators, YieldTheirValuesAndFreeWithZero) {
  constexpr guint64 kMax = G_MAXUINT64;
  guint64 values[] = {30, 10, 20};
  void* array[] = {&values[0], &values[1], &values[2]};
  const struct {
    OstrenGenerator* generator;
    Script expected;
  } cases[] = {
      {ostren_generator_from_array_new(array, 3), {30, 10, 20}},
      {ostren_generator_from_array_new(nullptr, 0), {}},
      {ostren_empty_generator_new(), {}},
      {ostren_guint64_range_generator_new(1, 4), {1, 2, 3}},
      {ostren_guint64_range_generator_new(5, 5), {}},
      {ostren_guint64_range_generator_new(6, 5), {}},
      // Must not start again from 0 after its end.
      {ostren_guint64_range_generator_new(kMax - 2, kMax - 1), {kMax - 2}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, drain(c.generator));
    EXPECT_EQ(0, ostren_generator_free(c.generator));
  }
}

// ---- two sorted streams ----

using Constructor = OstrenGenerator* (*)(OstrenGenerator*, OstrenGenerator*);

const Constructor kCut = articledb_guint64_cutter_new;
const Constructor kUnite = articledb_guint64_unioner_new;
const Constructor kSubtract = articledb_guint64_substractor_new;

TEST(Operators, DeliverAndFree) {
  const struct {
    const char* description;
    Constructor construct;
    Script left, right;
    Script expected;  // every pull up to the end
  } cases[] = {
      {"common elements", kCut, {1, 3, 5}, {2, 3, 4, 5}, {3, 5}},
      {"empty left", kCut, {}, {1, 2}, {}},
      {"duplicates come min times", kCut, {4, 4, 4, 9}, {4, 4, 9, 9}, {4, 4, 9}},
      {"left fails and recovers", kCut, {1, kFail, 2, 3}, {1, 2, 3, 4}, {1}},
      {"right fails and recovers", kCut, {1, 2, 3, 4}, {1, kFail, 2, 3, 4}, {1}},
      {"failure while catching up", kCut, {1, 5, 6}, {3, kFail, 5, 6}, {}},
      {"common element once", kUnite, {1, 3}, {2, 3, 4}, {1, 2, 3, 4}},
      {"duplicates, right empty", kUnite, {1, 1}, {}, {1, 1}},
      {"duplicates come max times", kUnite, {4, 4, 4}, {4, 4, 9, 9}, {4, 4, 4, 9, 9}},
      {"left fails at creation", kUnite, {kFail, 1}, {2, 3}, {2, 3}},
      {"right fails at creation", kUnite, {2, 3}, {kFail, 1}, {2, 3}},
      {"left fails, right lives", kUnite, {1, kFail, 4}, {2, 5}, {1, 2, 5}},
      {"the last one fails", kUnite, {1}, {2, kFail, 3}, {1, 2, kFail}},
      {"both fail in one pull", kUnite, {3, kFail, 4}, {3, kFail, 4}, {3}},
      {"removes", kSubtract, {1, 2, 3, 4}, {2, 4, 6}, {1, 3}},
      {"empty right", kSubtract, {1, 2}, {}, {1, 2}},
      {"duplicates come k - m times", kSubtract, {4, 4, 4, 9}, {4, 9, 9}, {4, 4}},
      {"left fails and recovers", kSubtract, {1, kFail, 3}, {2}, {1, kFail, 3}},
      {"left fails behind a match", kSubtract, {2, kFail, 3}, {2, 9}, {kFail, 3}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.description);
    Log log;
    Stub left(c.left, 1, &log);
    Stub right(c.right, 2, &log);
    OstrenGenerator* result = c.construct(left.generator(), right.generator());
    EXPECT_EQ(c.expected, drain(result));
    log.clear();
    EXPECT_EQ(0, ostren_generator_free(result));
    EXPECT_EQ((Log{~1, ~2}), log);
  }
}

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

TEST(OperatorElements, AreComparedUnsigned) {
  guint64 values[] = {1, guint64{1} << 63};
  EXPECT_EQ(-1, guint64_cmp(&values[0], &values[1]));
  EXPECT_EQ(1, guint64_cmp(&values[1], &values[0]));
  EXPECT_EQ(0, guint64_cmp(&values[1], &values[1]));
}

}  // namespace
}  // namespace fenra_test
