// The commands that only read a store.
#include <fcntl.h>
#include <unistd.h>

#include "tests/cli/program.h"
#include "tests/support/process.h"

namespace cli_test {
namespace {

// A store of six articles, one of which takes the place of another.
class ReadTest : public ProgramTest {
 protected:
  void SetUp() override {
    add("u:old", "itsasoa urdina da", "20090101\tArgia");
    add("u:1", "Etxe zuria mendian dago", "20090315\tArgia");
    add("u:2", html_page("Etxeak", "mendiko etxeak zuriak dira"), "20090315\tBerria", "text/html");
    add("u:3", "itsasoa urdina da", "20100101\ta\";b");
    add(long_, std::string(100000, ' ') + "etxea mendia itsasoa", "20100101\tBerria");
    add("u:old", std::string(100000, ' ') + "etxea mendia itsasoa", "\t");
    expect("index @store --rules plain --list -", 0, HasSubstr("indexed 6,"), "", list_);
  }

  void add(const std::string& url, const std::string& text, const std::string& date_and_source,
           const std::string& mime = "text/plain") {
    const std::string path = write(std::to_string(list_.size()), text);
    list_ += url + "\t" + mime + "\t" + path + "\t" + date_and_source + "\n";
  }

  std::string list_;
  const std::string long_ = "u:" + std::string(600, 'x');
};

TEST_F(ReadTest, SearchesAndLookupsAnswerInTheOrderOfIds) {
  const std::pair<const char*, std::string> cases[] = {
      {"search @store etxearen", "u:2 " + long_ + " u:old"},
      {"search @store mendia zuria", "u:1 u:2"},
      {"search @store itsasoa", "u:3 " + long_ + " u:old"},
      {"search @store itsasoa --limit 1", "u:3"},
      {"search @store itsasoa --count", "3"},
      {"search @store itsasoa --count --limit 2", "2"},
      {"search @store itsasoa zuria --count", "0"},
      // Names of subcommands and what the parser takes for its own.
      {"search @store index", ""},
      {"search @store [itsasoa,zuria]", ""},
      {"search @store ++ urdina", "u:3"},
      {"lookup @store --form Etxe", "u:1"},
      {"lookup @store --lemma etxe", "u:2 " + long_ + " u:old"},
      {"lookup @store --source Berria", "u:2 " + long_},
      {"lookup @store --source .", "u:old"},
      {"lookup @store --date 20090315", "u:1 u:2"},
      {"lookup @store --date 20090101", ""},
      {"lookup @store --trigram Etxe_zuria_mendian", "u:1"},
      {"lookup @store --trigram _etxea_mendia__itsasoa_", long_ + " u:old"},
      {"lookup @store --trigram-prefix mendiko", "u:2"},
      {"lookup @store --trigram-prefix mendiko_etxeak_zuriak", "u:2"},
  };
  for (const auto& [call, urls] : cases) {
    EXPECT_EQ(answer(call), urls) << call;
  }
  const std::string long_word(64, 'a');
  expect("lookup @store --trigram-prefix " + long_word, 2, "", HasSubstr("longer than 63 bytes"));
  expect("search @store ñ ÿ", 0, "", HasSubstr("the query 'ñ ÿ' has no word"));
}

TEST_F(ReadTest, ShowPrintsTheLatestArticleOfAUrl) {
  expect("show @store u:1", 0,
         "url: u:1\nid: 2\nlang: eu\nmime: text/plain\ndate: 20090315\nsource: Argia\n\n"
         "Etxe zuria mendian dago\n");
  expect(
      "show @store u:old", 0,
      AllOf(HasSubstr("id: 6\n"), HasSubstr("etxea mendia itsasoa"), testing::SizeIs(100000 + 81)));
  // A value may hold what ends a pair.
  expect("show @store u:3", 0, HasSubstr("\nsource: a\";b\n\n"));
  expect("show @store u:9", 1, "", HasSubstr("there is no article 'u:9' in"));
  expect("show @store u:", 1, "", HasSubstr("there is no article 'u:' in"));
}

TEST_F(ReadTest, StatsCountsTheEntriesOfEveryDatabase) {
  const std::vector<std::string> rows = lines(run("stats @store").out);
  // 6 articles, one of them gone; the words of all six stay.
  const std::vector<std::string> expected = {"articles 5",
                                             "last id  6",
                                             "log      [0-9]+ bytes",
                                             "rules    plain",
                                             "lexicon  [0-9a-f]+; of this library [0-9a-f]+",
                                             "",
                                             "database +entries +bytes",
                                             "urldb +5 +[0-9]+",
                                             "urlidx +6 +[0-9]+",
                                             "datedb +6 +[0-9]+",
                                             "sourcedb +6 +[0-9]+",
                                             "txtdb +5 +[0-9]+",
                                             "formdb +21 +[0-9]+",
                                             "trigramdb +9 +[0-9]+",
                                             "lemmadb +[0-9]+ +[0-9]+",
                                             "iddb +1 +[0-9]+",
                                             "total +[0-9]+ +[0-9]+"};
  ASSERT_EQ(expected.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_THAT(rows[i], MatchesRegex(expected[i]));
  }
  // The file has two pages more: those of its list of databases.
  const uint64_t total = std::stoull(rows.back().substr(rows.back().rfind(' ')));
  EXPECT_EQ(std::filesystem::file_size(directory_ / "store/fenra.index"), total + 2 * 4096);

  // It advises to rebuild after another lexicon.
  std::ofstream(directory_ / "store/fenra.lexicon", std::ios::app) << "00000000\n";
  expect("stats @store", 0,
         AllOf(HasSubstr(" 00000000; of this library "), HasSubstr("fenra rebuild")));
}

TEST_F(ReadTest, EndsQuietlyWithoutAReaderAndLoudlyOnAFullDevice) {
  for (const char* call : {"show @store u:old", "stats @store", "search @store etxe", "--help"}) {
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    close(ends[0]);
    const Result result = fenra_to(ends[1], arguments(call));
    EXPECT_EQ(0, result.status) << call;
    EXPECT_EQ("", result.err) << call;
    const Result full = fenra_to(open("/dev/full", O_WRONLY), arguments(call));
    EXPECT_EQ(1, full.status) << call;
    EXPECT_THAT(full.err, HasSubstr("cannot write to standard output: No space left"));
  }
}

// Who may not write to the store's directory reads it nevertheless, or is told what to do.
TEST_F(ReadTest, AnotherUserReadsWhatHeMayNotWrite) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can be somebody else";
  }
  namespace fs = std::filesystem;
  const std::string store = directory_ / "store";
  fs::permissions(directory_.path(), fs::perms(0755));
  fs::permissions(store, fs::perms(0755));
  for (const auto& entry : fs::directory_iterator(store)) {
    fs::permissions(entry, fs::perms(0644));
  }
  constexpr uid_t kSomebody = 20001;
  const auto as_somebody = [&](const std::string& call, int status, const Text& out,
                               const Text& err) {
    EXPECT_EQ(0, result_of([&] {
                if (setgid(kSomebody) != 0 || setuid(kSomebody) != 0) {
                  return 1;
                }
                expect(call, status, out, err);
                return HasFailure() ? 1 : 0;
              }))
        << call;
  };
  const std::vector<std::string> before = listing(store);
  as_somebody("search @store mendia zuria", 0, "u:1\nu:2\n", "");
  as_somebody("show @store u:old", 0, HasSubstr("id: 6\n"), "");
  as_somebody("stats @store", 0, HasSubstr("articles 5\n"), "");
  as_somebody("index @store @store", 1, "", HasSubstr("Permission denied"));
  EXPECT_EQ(before, listing(store));
  // Without the mark of this machine the log tells.
  fs::remove(store + "/fenra.gate");
  as_somebody("lookup @store --form Etxe", 0, "u:1\n", "");
  // A writer has been killed.
  write("store/fenra.journal", "");
  as_somebody("search @store etxe", 1, "",
              AllOf(HasSubstr("have user 0 open it once, with: fenra tune " + store),
                    HasSubstr("fenra backup " + store)));
  expect("tune @store", 0, HasSubstr("cache"));
  as_somebody("search @store mendia zuria", 1, "",
              HasSubstr("fenra.gate: Permission denied; have its owner let you read the store"));
  fs::permissions(store + "/fenra.gate", fs::perms(0644));
  as_somebody("search @store mendia zuria", 0, "u:1\nu:2\n", "");
}

TEST_F(ReadTest, ReadersLeaveAloneWhatIsNoStore) {
  const std::string file = write("other/file.txt", "text");
  const std::string other = directory_ / "other";
  const std::string missing = directory_ / "missing";
  const std::pair<std::string, std::string> cases[] = {
      {"@missing", "there is no store at '" + missing + "': no such directory"},
      {"@other", "'" + other + "' is not a store: it has no file fenra.index"},
      {"@other/file.txt", "'" + file + "' is not a store: it is not a directory"}};
  const std::vector<std::string> before = listing(directory_.path());
  for (const auto& [path, reason] : cases) {
    for (const std::string& call : {"search " + path + " etxe", "lookup " + path + " --form etxe",
                                    "show " + path + " u:1", "stats " + path}) {
      expect(call, 1, "",
             AllOf(HasSubstr(reason), HasSubstr("make a store with: fenra index STORE PATH...")));
    }
  }
  EXPECT_EQ(before, listing(directory_.path()));
}

}  // namespace
}  // namespace cli_test
