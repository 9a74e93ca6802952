// The command line itself, and the commands that need no store.
#include "tests/cli/program.h"

namespace cli_test {
namespace {

TEST_F(ProgramTest, WrongCallsAreNamedWithStatus2) {
  const std::pair<std::string, const char*> cases[] = {
      {"", "subcommand is required"},
      {"find", "'find' is not expected here"},
      {"--bogus", "'--bogus' is not expected here"},
      {"index", "STORE is required"},
      {"index @store", "name at least one PATH"},
      {"index @store a --date 2009-3-5", "'2009-3-5' is not a date of 8"},
      {"index @store a --mime image/png", "unknown MIME type 'image/png'"},
      {"index @store a --mime", "--mime"},
      {"index @store -", "with --format warc or --format jsonl"},
      {"index @store - --format zip", "unknown format 'zip'"},
      {"index @store a --format warc", "files tell it by their first bytes"},
      {"index @store - --format warc --list -", "standard input can be read once only"},
      {"search @store", "QUERY is required"},
      {"search @store a --limit 0", "'0' is not a number"},
      {"search @store a --limit 5x", "'5x' is not a number"},
      {"search @store a --limit 99999999999999999999", "is not a number"},
      {"search @store a --limit [2,3]", "'[2,3]' is not a number"},
      {"lookup @store", "--trigram-prefix"},
      {"lookup @store --form a --lemma b", "--form"},
      {"lookup @store --date yesterday", "'yesterday' is not a date"},
      {"lookup @store --trigram a_b_c_d", "has 4 words, not 3"},
      {"lookup @store --trigram-prefix _", "has 0 words, not 1 to 3"},
      {"index @store a --rules x", "no rules 'x'; web and plain are known"},
      {"rebuild @a @b --rules Web", "no rules 'Web'"},
      {"tune @store --cache .", "is no size"},
      {"tune @store --cache M", "is no size"},
      {"tune @store --cache 12.5M", "is no size"},
      {"tune @store --cache 1KK", "is no size"},
      {"tune @store --cache 19K", "is too little; 20K is the least"},
      {"tune @store --cache 99999999999999999999", "is too much; 64G is the most"},
      {"tune @store --cache 18446744073709551615G", "is too much"},
      {"show @store", "URL is required"},
      {"show @store u v", "'v' is not expected here"},
      {"stats", "STORE is required"},
      {"fst", "subcommand is required"},
      {"fst compile a.att", "OUT.fst is required"},
      {"fst look a.att", "WORD is required"},
  };
  for (const auto& [call, message] : cases) {
    expect(call, 2, "", AllOf(StartsWith("fenra: "), HasSubstr(message)));
  }
  EXPECT_TRUE(listing(directory_.path()).empty());
}

TEST_F(ProgramTest, EveryCommandHasHelpWithAnExample) {
  for (const char* command :
       {"", " index", " search", " lookup", " show", " stats", " tune", " verify", " rebuild",
        " compact", " backup", " lemma", " fst", " fst compile", " fst dump", " fst look"}) {
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
