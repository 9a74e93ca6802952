#include "tools/lexicon_compiler/source_lexicon.h"

#include <sstream>

#include "tests/tools/engine.h"

namespace {

using namespace lexicon_compiler;  // NOLINT

std::vector<SourceSection> Read(const std::string& printed) {
  std::istringstream in(printed);
  return ReadSections(in);
}

TEST(ReadSections, TakesArcsFinalsAndSections) {
  const auto sections =
      Read("0\t2\ta\t@0@\t0.000000\t\n2\t1\t@0@\t<n>\t0.5\n1\t0.000000\n--\n0\t1\n");
  ASSERT_EQ(sections.size(), 2U);
  const SourceSection& first = sections[0];
  ASSERT_EQ(first.size(), 3U);
  EXPECT_EQ(first[0].arcs.at(0).target, 2U);
  EXPECT_EQ(first[0].arcs.at(0).input + "," + first[0].arcs.at(0).output, "a,");
  EXPECT_EQ(first[2].arcs.at(0).input + "," + first[2].arcs.at(0).output, ",<n>");
  EXPECT_TRUE(first[1].is_final);
  EXPECT_FALSE(first[0].is_final);
  ASSERT_EQ(sections[1].size(), 1U);
  EXPECT_TRUE(sections[1][0].is_final);
}

TEST(ReadSections, NamesTheLineThatIsWrong) {
  const std::pair<const char*, const char*> cases[] = {
      {"0\t1\ta\ta\t0\n0\t1\ta\n", "line 2 has 3 fields"},
      {"x\t1\ta\ta\t0\n", "line 1 has the state number \"x\""},
      {"0\t-1\ta\ta\t0\n", "\"-1\""},
      {"0\t1x\ta\ta\t0\n", "\"1x\""},
      {"4294967296\t0\n", "\"4294967296\""},
      {"99999999\t0\n", "\"99999999\""},
      {"\t0\n", "\"\""},
      {"\n", "line 1 has 0 fields"},
  };
  for (const auto& [printed, message] : cases) {
    EXPECT_THAT(fenra_test::ErrorOf([&, text = printed] { Read(text); }),
                testing::HasSubstr(message));
  }
}

TEST(KeepPlainWords, DropsOtherLettersAndWhatTheyAloneReach) {
  SourceSection section = Read(
      "0\t1\ta\ta\t0\n0\t1\tA\tA\t0\n0\t1\t\xc3\xb1\t\xc3\xb1\t0\n0\t2\tb\tb\t0\n"
      "2\t3\t@_SPACE_@\tx\t0\n0\t1\t-\t-\t0\n0\t1\t@0@\te\t0\n1\t3\t7\t7\t0\n1\t0\n3\t0\n")[0];
  KeepPlainWords(&section);
  std::string inputs;
  for (const SourceArc& arc : section[0].arcs) {
    inputs += arc.input.empty() ? "0" : arc.input;
  }
  EXPECT_EQ(inputs, "a-0");
  EXPECT_TRUE(section[1].arcs.empty());
  EXPECT_TRUE(section[2].arcs.empty());
}

TEST(HasCycle, SeesLoopsThatCanBeReached) {
  EXPECT_TRUE(HasCycle(Read("0\t0\ta\ta\t0\n")[0]));
  EXPECT_TRUE(HasCycle(Read("0\t1\ta\ta\t0\n1\t2\ta\ta\t0\n2\t1\tb\tb\t0\n2\t0\n")[0]));
  EXPECT_FALSE(HasCycle(Read("0\t1\ta\ta\t0\n0\t2\ta\ta\t0\n1\t2\tb\tb\t0\n2\t0\n")[0]));
}

}  // namespace
