// The command line itself, and the commands that need no store.
#include "tests/cli/program.h"

namespace cli_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

TEST_F(ProgramTest, WrongCallsAreNamedWithStatus2) {
  for (const auto& [call, message] : calls_of(FENRA_TEST_DATA "/wrong_calls.txt")) {
    expect(call, 2, "", AllOf(StartsWith("fenra: "), HasSubstr(message)));
  }
  EXPECT_TRUE(listing(directory_.path()).empty());
}

TEST_F(ProgramTest, EveryCommandHasHelpWithAnExample) {
  for (const char* command :
       {"", " index", " search", " lookup", " show", " stats", " tune", " verify", " rebuild",
        " compact", " lemma", " fst", " fst compile", " fst dump", " fst look"}) {
    expect(command + std::string(" --help"), 0,
           HasSubstr("Example:\n  fenra" + std::string(command)));
  }
  expect("--version", 0, "fenra " FENRA_VERSION "\n");
}

TEST_F(ProgramTest, LemmaPrintsFormLemmaAndAnalyses) {
  expect("lemma --rules plain da Etxea [etxea,da] ++", 0,
         "da\tda\tADT/izan ADL/izan\nEtxea\tEtxea\t-\n[etxea,da]\t[etxea,da]\t-\n++\t++\t-\n");
  expect("lemma ETXEA", 0, StartsWith("ETXEA\tetxe\tIZE/etxe+"));
  expect("lemma etxea", 0, StartsWith("etxea\tetxe\tIZE/etxe+"));
  const std::string input("badu\n\nda\0x\nzuen", 15);
  EXPECT_THAT(lines(run("lemma --rules plain", input).out),
              ElementsAre("badu\tbadu\t+ADL/edun +ADT/ukan", "\t\t-",
                          std::string("da\0x\tda\t-", 9), StartsWith("zuen\tzuen\tADL/edun ")));
}

// Lower "ab" to upper "AB", and lower "a" to upper "A" and to "B".
constexpr char kAtt[] = "0 1 3 5\n0 2 4 5\n1 2 4 6\n1\n2\n3 A\n4 B\n5 a\n6 b\n";

TEST_F(ProgramTest, FstCompilesDumpsAndLooks) {
  write("in.txt", kAtt);
  write("in.att", kAtt);
  expect("fst compile @in.txt @out.fst", 0, "");
  for (const std::string file : {"@in.att", "@out.fst"}) {
    expect("fst look " + file + " a ab b", 0, "a\tA\na\tB\nab\tAB\nb\t-\n");
    expect("fst look --down " + file + " AB B b", 0, "AB\tab\nB\ta\nb\t-\n");
    const std::vector<std::string> dump = lines(run("fst dump " + file).out);
    ASSERT_EQ(5u, dump.size());
    EXPECT_THAT(dump[0], MatchesRegex("-?[0-9]+ -?[0-9]+ A a"));
    EXPECT_EQ("# end edges", dump[3]);
  }
}

TEST_F(ProgramTest, FstSaysWhichFileFailedAndWhy) {
  write("in.att", kAtt);
  const std::string bad = write("bad.fst", "this is no transducer, plainly: no such size");
  const std::string missing = directory_ / "missing";
  const std::pair<const char*, std::string> cases[] = {
      {"fst look @bad.fst a", "cannot load '" + bad + "' as a binary transducer, because"},
      {"fst dump @missing", "cannot load '" + missing + "' as a binary transducer"},
      {"fst look @missing.att a",
       "cannot load '" + missing + ".att' as AT&T text, because its path holds \".att\""},
      {"fst compile @missing @out", "cannot load '" + missing + "' as AT&T"},
      {"fst compile @in.att @no/out", "cannot write '"},
  };
  for (const auto& [call, message] : cases) {
    expect(call, 1, "", HasSubstr("fenra: " + message));
  }
}

}  // namespace
}  // namespace cli_test
