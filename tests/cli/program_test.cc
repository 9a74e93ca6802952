// The command line itself, and the commands that need no store.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/cli/program.h"

namespace cli_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

struct WrongCall {
  Arguments arguments;
  const char* message;
};

void PrintTo(const WrongCall& call, std::ostream* out) {
  *out << testing::PrintToString(call.arguments);
}

class WrongCallTest : public testing::TestWithParam<WrongCall> {};

TEST_P(WrongCallTest, SaysWhatIsWrongWithStatus2) {
  const ScratchDirectory scratch;
  Arguments arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    argument = argument == "STORE" ? scratch.path("store") : argument;
  }
  const Result result = fenra(arguments);
  EXPECT_EQ(2, result.status);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, AllOf(StartsWith("fenra: "), HasSubstr(GetParam().message)));
  EXPECT_TRUE(ScratchDirectory::listing(scratch.path("")).empty());
}

const std::string kLongWord(64, 'a');

INSTANTIATE_TEST_SUITE_P(
    Calls, WrongCallTest,
    testing::Values(
        WrongCall{{}, "subcommand is required"}, WrongCall{{"find"}, "'find' is not expected here"},
        WrongCall{{"--bogus"}, "'--bogus' is not expected here"},
        WrongCall{{"index"}, "STORE is required"},
        WrongCall{{"index", "STORE"}, "name at least one PATH"},
        WrongCall{{"index", "STORE", ".", "--date", "2009315"}, "'2009315' is not a date of 8"},
        WrongCall{{"index", "STORE", ".", "--date", "2009-3-5"}, "'2009-3-5' is not a date of 8"},
        WrongCall{{"index", "STORE", ".", "--mime", "image/png"}, "unknown MIME type 'image/png'"},
        WrongCall{{"index", "STORE", ".", "--mime"}, "--mime"},
        WrongCall{{"search", "STORE"}, "WORD is required"},
        WrongCall{{"search", "STORE", "a", "--limit", "0"}, "'0' is not a number"},
        WrongCall{{"search", "STORE", "a", "--limit", "-1"}, "-1"},
        WrongCall{{"search", "STORE", "a", "--limit", "5x"}, "'5x' is not a number"},
        WrongCall{{"search", "STORE", "a", "--limit", "99999999999999999999"}, "is not a number"},
        WrongCall{{"search", "STORE", "a", "--limit", "[2,3]"}, "'[2,3]' is not a number"},
        WrongCall{{"lookup", "STORE"}, "--trigram-prefix"},
        WrongCall{{"lookup", "STORE", "--form", "a", "--lemma", "b"}, "--form"},
        WrongCall{{"lookup", "STORE", "--date", "yesterday"}, "'yesterday' is not a date"},
        WrongCall{{"lookup", "STORE", "--trigram", "a b"}, "has 2 words, not 3"},
        WrongCall{{"lookup", "STORE", "--trigram", "a b c d"}, "has 4 words, not 3"},
        WrongCall{{"lookup", "STORE", "--trigram-prefix", " "}, "has 0 words, not 1 to 3"},
        WrongCall{{"lookup", "STORE", "--trigram-prefix", kLongWord}, "is longer than 63 bytes"},
        WrongCall{{"show", "STORE"}, "URL is required"},
        WrongCall{{"show", "STORE", "u", "v"}, "'v' is not expected here"},
        WrongCall{{"stats"}, "STORE is required"}, WrongCall{{"fst"}, "subcommand is required"},
        WrongCall{{"fst", "compile", "a.att"}, "OUT.fst is required"},
        WrongCall{{"fst", "look", "a.att"}, "WORD is required"}));

TEST(ProgramTest, EveryCommandHasHelpWithAnExample) {
  const std::vector<Arguments> commands = {
      {},        {"index"}, {"search"},         {"lookup"},      {"show"},       {"stats"},
      {"lemma"}, {"fst"},   {"fst", "compile"}, {"fst", "dump"}, {"fst", "look"}};
  for (Arguments arguments : commands) {
    std::string call = "Example:\n  fenra";
    for (const std::string& argument : arguments) {
      call += " " + argument;
    }
    arguments.push_back("--help");
    const Result result = fenra(arguments);
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("", result.err);
    EXPECT_THAT(result.out, HasSubstr(call));
  }
  EXPECT_EQ("fenra " FENRA_VERSION "\n", fenra({"--version"}).out);
}

TEST(LemmaTest, PrintsFormLemmaAndAnalyses) {
  EXPECT_THAT(lines(fenra({"lemma", "da", "Etxea", "[etxea,da]", "++"}).out),
              ElementsAre("da\tda\tADT/izan ADL/izan", "Etxea\tEtxea\t-",
                          "[etxea,da]\t[etxea,da]\t-", "++\t++\t-"));
  EXPECT_THAT(lines(fenra({"lemma", "etxea"}).out),
              ElementsAre(StartsWith("etxea\tetxe\tIZE/etxe+")));
}

TEST(LemmaTest, ReadsLinesOfStandardInput) {
  const std::string input("badu\n\nda\0x\nzuen", 15);
  EXPECT_THAT(lines(fenra({"lemma"}, input).out),
              ElementsAre("badu\tbadu\t+ADL/edun +ADT/ukan", "\t\t-",
                          std::string("da\0x\tda\t-", 9), StartsWith("zuen\tzuen\tADL/edun ")));
}

// Lower "ab" to upper "AB", and lower "a" to upper "A" and to "B".
constexpr char kAtt[] =
    "0 1 3 5\n0 2 4 5\n1 2 4 6\n"
    "1\n2\n"
    "3 A\n4 B\n5 a\n6 b\n";

TEST(FstTest, CompilesDumpsAndLooks) {
  const ScratchDirectory scratch;
  const std::string text = scratch.write("in.txt", kAtt);
  const std::string att = scratch.write("in.att", kAtt);
  const std::string binary = scratch.path("out.fst");
  Result result = fenra({"fst", "compile", text, binary});
  EXPECT_EQ(0, result.status) << result.err;
  for (const std::string& file : {att, binary}) {
    EXPECT_EQ("a\tA\na\tB\nab\tAB\nb\t-\n", fenra({"fst", "look", file, "a", "ab", "b"}).out);
    EXPECT_EQ("AB\tab\nB\ta\nb\t-\n", fenra({"fst", "look", "--down", file, "AB", "B", "b"}).out);
    const std::vector<std::string> dump = lines(fenra({"fst", "dump", file}).out);
    ASSERT_EQ(5u, dump.size());
    EXPECT_THAT(dump[0], testing::MatchesRegex("-?[0-9]+ -?[0-9]+ A a"));
    EXPECT_EQ("# end edges", dump[3]);
  }
}

TEST(FstTest, SaysWhichFileFailedAndWhy) {
  const ScratchDirectory scratch;
  const std::string att = scratch.write("in.att", kAtt);
  const std::string bad = scratch.write("bad.fst", "this is no transducer, plainly: no such size");
  const std::string missing = scratch.path("missing");
  const struct {
    Arguments arguments;
    std::string message;
  } cases[] = {
      {{"fst", "look", bad, "a"}, "cannot load '" + bad + "' as a binary transducer, because"},
      {{"fst", "dump", missing}, "cannot load '" + missing + "' as a binary transducer"},
      {{"fst", "look", missing + ".att", "a"},
       "cannot load '" + missing + ".att' as AT&T text, because its path holds \".att\""},
      {{"fst", "compile", missing, scratch.path("out")}, "cannot load '" + missing + "' as AT&T"},
      {{"fst", "compile", att, scratch.path("no/out")}, "cannot write '"},
  };
  for (const auto& test : cases) {
    const Result result = fenra(test.arguments);
    EXPECT_EQ(1, result.status);
    EXPECT_EQ("", result.out);
    EXPECT_THAT(result.err, HasSubstr("fenra: " + test.message));
  }
}

}  // namespace
}  // namespace cli_test
