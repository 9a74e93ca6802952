#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>

#include "tests/cli/program.h"

namespace cli_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;

constexpr size_t kLongUrl = 600;

// One store of six articles for all the tests, which only read it.
class ReadTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    scratch_ = std::make_unique<ScratchDirectory>();
    const std::string a = scratch_->write("a", "Etxe zuria mendian dago");
    const std::string b = scratch_->write("b", html_page("Etxeak", "mendiko etxeak zuriak dira"));
    const std::string c = scratch_->write("c", "itsasoa urdina da");
    const std::string d = scratch_->write("d", std::string(100000, ' ') + "etxea mendia itsasoa");
    std::string list;
    add(list, "u:old", c, "20090101", "Argia");
    add(list, "u:1", a, "20090315", "Argia");
    add(list, "u:2", b, "20090315", "Berria", "text/html");
    add(list, "u:3", c, "20100101", "a\";b");
    add(list, long_url(), d, "20100101", "Berria");
    add(list, "u:old", d, "", "");
    const Result result = fenra({"index", store(), "--list", "-"}, list);
    ASSERT_EQ(0, result.status) << result.err;
  }

  static void TearDownTestSuite() { scratch_.reset(); }

  static std::string store() { return scratch_->path("store"); }
  static std::string long_url() { return "u:" + std::string(kLongUrl, 'x'); }

  static std::unique_ptr<ScratchDirectory> scratch_;

 private:
  static void add(std::string& list, const std::string& url, const std::string& path,
                  const std::string& date, const std::string& source,
                  const std::string& mime = "text/plain") {
    list += url + "\t" + mime + "\t" + path + "\t" + date + "\t" + source + "\n";
  }
};

std::unique_ptr<ScratchDirectory> ReadTest::scratch_;

struct Answer {
  Arguments arguments;  // behind command and store
  std::vector<std::string> urls;
};

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << testing::PrintToString(answer.arguments);
}

const std::string kLong = "u:" + std::string(kLongUrl, 'x');

class SearchTest : public ReadTest, public testing::WithParamInterface<Answer> {};

TEST_P(SearchTest, AnswersInOrderOfIds) {
  Arguments arguments = {"search", store()};
  arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  const Result result = fenra(arguments);
  EXPECT_EQ(0, result.status) << result.err;
  EXPECT_EQ("", result.err);
  EXPECT_THAT(lines(result.out), ElementsAreArray(GetParam().urls));
}

INSTANTIATE_TEST_SUITE_P(
    Queries, SearchTest,
    testing::Values(
        Answer{{"etxearen"}, {"u:2", kLong, "u:old"}}, Answer{{"mendia", "zuria"}, {"u:1", "u:2"}},
        Answer{{"mendia, (zuria)!"}, {"u:1", "u:2"}}, Answer{{"itsasoa"}, {"u:3", kLong, "u:old"}},
        Answer{{"itsasoa", "--limit", "1"}, {"u:3"}}, Answer{{"itsasoa", "--count"}, {"3"}},
        Answer{{"itsasoa", "--count", "--limit", "2"}, {"2"}}, Answer{{"itsasoa", "zuria"}, {}},
        Answer{{"itsasoa", "zuria", "--count"}, {"0"}},
        // Names of subcommands and what the parser takes for its own.
        Answer{{"index"}, {}}, Answer{{"[itsasoa,zuria]"}, {}}, Answer{{"++", "urdina"}, {"u:3"}}));

TEST_F(ReadTest, SearchTellsThatAQueryHasNoWord) {
  const Result result = fenra({"search", store(), "123", "ñ"});
  EXPECT_EQ(0, result.status);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, HasSubstr("the query '123 ñ' has no word"));
}

class LookupTest : public ReadTest, public testing::WithParamInterface<Answer> {};

TEST_P(LookupTest, GivesTheLiveArticlesOfAKey) {
  Arguments arguments = {"lookup", store()};
  arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
  const Result result = fenra(arguments);
  EXPECT_EQ(0, result.status) << result.err;
  EXPECT_THAT(lines(result.out), ElementsAreArray(GetParam().urls));
}

INSTANTIATE_TEST_SUITE_P(
    Keys, LookupTest,
    testing::Values(
        Answer{{"--form", "etxeak"}, {"u:2"}}, Answer{{"--form", "etxe"}, {}},
        Answer{{"--form", "Etxe"}, {"u:1"}}, Answer{{"--lemma", "etxe"}, {"u:2", kLong, "u:old"}},
        Answer{{"--source", "Argia"}, {"u:1"}}, Answer{{"--source", "Berria"}, {"u:2", kLong}},
        Answer{{"--source", ""}, {"u:old"}}, Answer{{"--date", "20090315"}, {"u:1", "u:2"}},
        Answer{{"--date", "20090101"}, {}}, Answer{{"--trigram", "Etxe zuria mendian"}, {"u:1"}},
        Answer{{"--trigram", " etxea\tmendia itsasoa "}, {kLong, "u:old"}},
        Answer{{"--trigram-prefix", "zuria mendian"}, {"u:1"}},
        Answer{{"--trigram-prefix", "mendiko"}, {"u:2"}}, Answer{{"--trigram-prefix", "mendi"}, {}},
        Answer{{"--trigram-prefix", "mendiko etxeak zuriak"}, {"u:2"}}));

TEST_F(ReadTest, ShowPrintsTheLatestArticleOfAUrl) {
  EXPECT_EQ(
      "url: u:1\nid: 2\nlang: eu\nmime: text/plain\ndate: 20090315\nsource: Argia\n\n"
      "Etxe zuria mendian dago\n",
      fenra({"show", store(), "u:1"}).out);
  EXPECT_THAT(fenra({"show", store(), "u:old"}).out,
              AllOf(HasSubstr("id: 6\n"), HasSubstr("etxea mendia itsasoa"), SizeIs(100000 + 81)));
  // A value may hold what ends a pair.
  EXPECT_THAT(fenra({"show", store(), "u:3"}).out, HasSubstr("\nsource: a\";b\n\n"));
  const Result missing = fenra({"show", store(), "u:9"});
  EXPECT_EQ(1, missing.status);
  EXPECT_THAT(missing.err, HasSubstr("there is no article 'u:9' in"));
}

TEST_F(ReadTest, StatsCountsTheEntriesOfEveryDatabase) {
  const std::vector<std::string> rows = lines(fenra({"stats", store()}).out);
  // 6 articles, one of them gone; the words of all six stay.
  const std::vector<std::string> expected = {
      "articles 5",
      "last id  6",
      "log      [0-9]+ bytes",
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
      "total +[0-9]+ +[0-9]+",
  };
  ASSERT_EQ(expected.size(), rows.size());
  for (size_t i = 0; i < rows.size(); ++i) {
    EXPECT_THAT(rows[i], MatchesRegex(expected[i]));
  }
  // The file has two pages more: those of its list of databases.
  const uint64_t total = std::stoull(rows.back().substr(rows.back().rfind(' ')));
  EXPECT_EQ(std::filesystem::file_size(store() + "/fenra.index"), total + 2 * 4096);
}

TEST_F(ReadTest, StatsAdvisesToRebuildAfterAnotherLexicon) {
  EXPECT_THAT(fenra({"stats", store()}).out, Not(HasSubstr("fenra rebuild")));
  std::ofstream(store() + "/fenra.lexicon", std::ios::app) << "00000000\n";
  EXPECT_THAT(fenra({"stats", store()}).out,
              AllOf(HasSubstr(" 00000000; of this library "), HasSubstr("fenra rebuild")));
}

TEST_F(ReadTest, EndsQuietlyWithoutAReaderAndLoudlyOnAFullDevice) {
  for (const Arguments& arguments :
       {Arguments{"show", store(), "u:old"}, Arguments{"stats", store()},
        Arguments{"search", store(), "etxe"}, Arguments{"--help"}}) {
    const Result result = fenra_without_reader(arguments);
    EXPECT_EQ(0, result.status) << arguments[0];
    EXPECT_EQ("", result.err) << arguments[0];
    const Result full = fenra_to("/dev/full", arguments);
    EXPECT_EQ(1, full.status) << arguments[0];
    EXPECT_THAT(full.err, HasSubstr("cannot write to standard output: No space left"));
  }
}

TEST_F(ReadTest, ReadersLeaveAloneWhatIsNoStore) {
  const std::string file = scratch_->write("other/file.txt", "text");
  const std::string other = scratch_->path("other");
  const std::string missing = scratch_->path("missing");
  const struct {
    std::string path;
    std::string reason;
  } cases[] = {{missing, "there is no store at '" + missing + "': no such directory"},
               {other, "'" + other + "' is not a store: it has no file fenra.index"},
               {file, "'" + file + "' is not a store: it is not a directory"}};
  const std::vector<std::string> before = ScratchDirectory::listing(scratch_->path(""));
  for (const auto& test : cases) {
    for (const Arguments& arguments :
         {Arguments{"search", test.path, "etxe"}, Arguments{"lookup", test.path, "--form", "etxe"},
          Arguments{"show", test.path, "u:1"}, Arguments{"stats", test.path}}) {
      const Result result = fenra(arguments);
      EXPECT_EQ(1, result.status) << arguments[0];
      EXPECT_EQ("", result.out);
      EXPECT_THAT(result.err, HasSubstr(test.reason)) << arguments[0];
      EXPECT_THAT(result.err, HasSubstr("make a store with: fenra index STORE PATH..."));
    }
  }
  EXPECT_EQ(before, ScratchDirectory::listing(scratch_->path("")));
}

}  // namespace
}  // namespace cli_test
