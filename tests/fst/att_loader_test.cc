#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "fst_test_util.h"
#include "tests/support/repeat.h"
#include "tests/support/temporary_directory.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Words = std::vector<std::string>;

const char kExample[] = "0 1 3 4\n1 2 0 5\n2\n3 A\n4 a\n5 s\n";

TEST(AttText, LaysOutTheExample) {
  const Fst fst = from_att(kExample);
  ASSERT_TRUE(fst);
  EXPECT_EQ(image(make_fst({Edge{71, 1, 'a', 'A'}, Edge{135, 1, 's', 0}, Edge{9, 0, 0, 0}}, 3, 2,
                           LK_FST_SORTED_LOWER)),
            image(fst));
  EXPECT_EQ(Words{"A"}, look(fst, "as"));
}

TEST(AttText, BlanksAndCommentsChangeNothing) {
  const std::string expected = image(from_att(kExample));
  for (const char* text : {
           "# c\n\n0 1 3 4\n # c\n \t\r\n1 2 0 5\n#\n2\n\n# 9\n3 A\n#x\n4 a\n5 s",
           "0 1 3 4\r\n1 2 0 5\r\n2\r\n3 A\r\n4 a\r\n5 s\r\n",
           "\t0  1\t3 4 # up\n1 2 0 5x\n02 # last\n3 ABC\n4 a\n5 s # not a comment\n",
           "0 1 3 4\n1 2 0 5\n2\n0 x\n7 #\n1 y\n2 z\n3 B\n3 A\n4 a\n5 s\n",
       }) {
    const Fst fst = from_att(text);
    ASSERT_TRUE(fst) << text;
    EXPECT_EQ(expected, image(fst)) << text;
  }
}

TEST(AttText, LaysOutStates) {
  const std::string symbols = "3 p\n4 r\n5 s\n";
  const struct {
    const char* text;
    NodeIndex node_count, edge_count;
    std::vector<Edge> cells;
  } kCases[] = {
      // Sorted by lower label, stably; the first cell keeps the final mark. Every final-state
      // line counts, so that a cell is left over.
      {"0 1 0 5\n0 0 0 3\n0 1 0 4\n0 1 5 3\n1\n0\n",
       2,
       4,
       {cell(11, 0, 4, 'p', 0),
        cell(2, 4, 0, 'p', 's'),
        cell(2, 4, 0, 'r', 0),
        cell(6, 4, 0, 's', 0),
        cell(9, 0, 0, 0, 0),
        {}}},
      // States without arcs, final or not, mentioned or not, follow in ascending order.
      {"0 4 3 3\n2 1 4 4\n3\n",
       5,
       2,
       {cell(7, 4, 1, 'p', 'p'), cell(7, 2, 1, 'r', 'r'), cell(1, 0, 0, 0, 0), cell(9, 0, 0, 0, 0),
        cell(1, 0, 0, 0, 0)}},
      {"0 0 3 3\n0\n0\n0\n", 1, 1, {cell(15, 0, 1, 'p', 'p'), {}, {}, {}}},
      {"0\n", 1, 0, {cell(9, 0, 0, 0, 0)}},
  };
  for (const auto& c : kCases) {
    const Fst fst = from_att(c.text + symbols);
    ASSERT_TRUE(fst) << c.text;
    EXPECT_EQ(image(make_fst(c.cells, c.node_count, c.edge_count, LK_FST_SORTED_LOWER)), image(fst))
        << c.text;
  }
  EXPECT_EQ(Words{""}, look(from_att("0"), ""));
}

TEST(AttText, SymbolIsTheFirstByteAfterOneSeparator) {
  for (const auto& [line, byte] : std::vector<std::pair<std::string, char>>{
           {"7 xyz", 'x'}, {"7  xyz", ' '}, {"7\tx", 'x'}, {"7:x", 'x'}, {"7 \xc3\xb1", '\xc3'}}) {
    const Fst fst = from_att("0 1 7 7\n1\n0 @_EPSILON_SYMBOL_@\n" + line);
    ASSERT_TRUE(fst) << line;
    EXPECT_EQ(Words{std::string(1, byte)}, look(fst, std::string(1, byte))) << line;
  }
}

TEST(AttText, RejectsWithTheLineAndTheReason) {
  const std::string cells = repeat("0 67108863 3 3\n", 2) + "0\n3 a\n";
  const struct {
    std::string text;
    int line;
    const char* reason;
  } kCases[] = {
      {"", 1, "final-state"},
      {"0 1 3 3\n", 2, "final-state"},
      {"0 1 3 3\n3 a\n", 2, "\"3 a\" is neither"},
      {"0 1 3 3\n\n0 1 3 3 0.5\n1\n3 a", 3, "\"0 1 3 3 0.5\" is neither"},
      {" \t\r\n  0 1 3 3 5\n1\n", 2, "\"0 1 3 3 5\" is neither"},
      {"0 1 -3 3\n1\n", 1, "neither"},
      {"\x1b[2J\xff" + std::string(100, 'z'), 1, "\"?[2J?zzz"},
      {"1 0 3 3\n1\n3 a\n", 1, "leaves state 1"},
      {"0 1 3 3\n1 0 3 3\n0 1 3 3\n1 0 3 3\n0 0 3 3\n1\n3 a\n", 3, "state 0 has arcs further up"},
      {"0 1 3 3\n1\n3 #\n", 3, "final state 3 "},
      {"0 1 3 3\n4294967296\n3 a\n", 2, "final state 4294967296 "},
      {"0 1 3 256\n1\n", 1, "label number 256 "},
      {"0 1 4294967299 3\n1\n3 a", 1, "label number 4294967299 "},
      {"0 67108864 3 3\n0\n3 a\n", 1, "state number 67108864 "},
      {"18446744073709551616 1 3 3\n1\n3 a\n", 1, "18446744073709551616"},
      {cells, 2, "more than 67108864 cells"},
      {repeat("0 1 3 3\n", 65536) + "1\n3 a\n", 65536, "state 0 has more than 65535 arcs"},
      {"0 1 3 5\n1 1 4 3\n1 1 5 4\n1\n3 a\n", 1, "label number 5 "},
      {"0 1 3 3\n1 1 4 3\n1\n3 a\n4\n", 2, "label number 4 "},  // a final state or no text
      {"0 1 3 3\n1\n3 a\n3 \n", 1, "label number 3 "},
      {"0 1 3 3\n1\n3 a\nx y\n", 4, "\"x y\" does not begin"},
      {"0 1 3 3\n1\n3 a\n256 y\n", 4, "label number 256 "},
  };
  for (const auto& c : kCases) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(from_att(c.text)) << c.text.substr(0, 80);
    const std::string message = testing::internal::GetCapturedStderr();
    EXPECT_THAT(message, StartsWith("AT&T text, line " + std::to_string(c.line) + ": "));
    EXPECT_THAT(message, HasSubstr(c.reason));
    EXPECT_EQ(message.size() - 1, message.find('\n')) << message;
    EXPECT_LT(message.size(), 200U);
  }
  EXPECT_TRUE(from_att(repeat("0 1 3 3\n", 65535) + "1\n3 a\n"));
}

TEST(AttTextDeathTest, HoldsTwentyThousandFinalStateLines) {
  const std::string arcs = "0 0 3 3\n";
  const Fst fst = from_att(arcs + repeat("0\n", 20000) + "3 a\n");
  ASSERT_TRUE(fst);
  EXPECT_EQ(20001U * 8, fst->data_size);
  EXPECT_EXIT(from_att(arcs + repeat("0\n", 20001) + "3 a\n"), testing::ExitedWithCode(1),
              "Stack overflow [a-z_]+\\.cc:[0-9]+\n");
}

TEST(AttText, ReadsFiles) {
  const TemporaryDirectory dir;
  const std::string path = dir.write("a.att", kExample + std::string("\0 garbage", 9));
  const Fst fst(lk_fst_new_from_att_file(path.c_str()));
  ASSERT_TRUE(fst);
  EXPECT_EQ(image(from_att(kExample)), image(fst));

  const struct {
    std::string path, message;
  } kCases[] = {
      {dir / "missing", "Cannot open file: No such file or directory\n"},
      {"/dev/stdin", "Cannot SEEK_END: Illegal seek\n"},
      {dir.write("bad.att", "0 1\n"), dir / "bad.att" + ", line 1: \"0 1\" is neither"},
  };
  int pipe_ends[2];
  ASSERT_EQ(0, pipe(pipe_ends));
  dup2(pipe_ends[0], STDIN_FILENO);
  for (const auto& c : kCases) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(nullptr, lk_fst_new_from_att_file(c.path.c_str())) << c.path;
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(c.message)) << c.path;
  }
}

}  // namespace
