// The protocol and the basic kinds.
#include "streams/ostren_generator.h"

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
      {ostren_generator_from_array_new(array, 1), {30}},
      {ostren_generator_from_array_new(nullptr, 0), {}},
      {ostren_empty_generator_new(), {}},
      {ostren_guint64_range_generator_new(1, 4), {1, 2, 3}},
      {ostren_guint64_range_generator_new(5, 5), {}},
      {ostren_guint64_range_generator_new(6, 5), {}},
      // Must not start again from 0 after its end.
      {ostren_guint64_range_generator_new(kMax - 2, kMax - 1), {kMax - 2}},
      {ostren_guint64_range_generator_new(kMax, kMax), {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, drain(c.generator));
    EXPECT_EQ(0, ostren_generator_free(c.generator));
  }
}

TEST(RangeGenerator, ElementsShareOneAddress) {
  GeneratorPtr range(ostren_guint64_range_generator_new(1, 3));
  void* first;
  void* second;
  ASSERT_EQ(1, ostren_generator_next(range.get(), &first));
  ASSERT_EQ(1, ostren_generator_next(range.get(), &second));
  EXPECT_EQ(first, second);
  EXPECT_EQ(2u, *static_cast<guint64*>(first));
}

}  // namespace
}  // namespace fenra_test
