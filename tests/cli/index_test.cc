#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/progress.h"
#include "tests/cli/program.h"

namespace cli_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class IndexTest : public testing::Test {
 protected:
  std::string store() const { return scratch_.path("store"); }

  std::vector<std::string> search(const std::string& word) const {
    return lines(fenra({"search", store(), word}).out);
  }

  const ScratchDirectory scratch_;
};

TEST_F(IndexTest, WalksDirectoriesInByteOrder) {
  scratch_.write("pages/b.TXT", "mendia");
  scratch_.write("pages/a/z.Html", html_page("Orria", "mendia"));
  scratch_.write("pages/a-1.htm", html_page("Orria", "mendia"));
  scratch_.write("pages/a/sub/c.xhtml", html_page("Orria", "mendia"));
  scratch_.write("pages/style.css", "mendia");
  scratch_.write("pages/html", "mendia");
  const Result result =
      fenra({"index", store(), scratch_.path("pages/"), "--base-url", "https://x.eus/p"});
  EXPECT_EQ(0, result.status);
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, StartsWith("indexed 4, refused 0, skipped 2, bytes "));
  EXPECT_THAT(search("mendia"),
              ElementsAre("https://x.eus/p/a-1.htm", "https://x.eus/p/a/sub/c.xhtml",
                          "https://x.eus/p/a/z.Html", "https://x.eus/p/b.TXT"));
}

TEST_F(IndexTest, FollowsLinksToFilesOnly) {
  scratch_.write("pages/real.txt", "mendia");
  scratch_.write("elsewhere/other.txt", "mendia");
  ASSERT_EQ(0, symlink("../elsewhere/other.txt", scratch_.path("pages/link.txt").c_str()));
  ASSERT_EQ(0, symlink(".", scratch_.path("pages/loop").c_str()));
  ASSERT_EQ(0, symlink("../elsewhere", scratch_.path("pages/loop.txt").c_str()));
  ASSERT_EQ(0, symlink("missing", scratch_.path("pages/dangling.txt").c_str()));
  const Result result = fenra({"index", store(), scratch_.path("pages"), "--base-url", "u"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 2, refused 1, skipped 2, "));
  EXPECT_THAT(result.err, HasSubstr("dangling.txt: cannot read the file: No such file"));
  EXPECT_THAT(search("mendia"), ElementsAre("u/link.txt", "u/real.txt"));
}

TEST_F(IndexTest, NamesFilesByTheirAbsolutePathWithoutABase) {
  const std::string page = scratch_.write("pages/a.txt", "mendia");
  EXPECT_EQ(0, fenra({"index", store(), scratch_.path("pages/../pages/a.txt")}).status);
  EXPECT_THAT(search("mendia"), ElementsAre("file://" + page));
}

TEST_F(IndexTest, TakesTheTypeOfNamedFilesFromTheCommandLine) {
  const std::string page = scratch_.write("page.cgi", html_page("Orria", "mendia"));
  Result result = fenra({"index", store(), page, "--base-url", "u"});
  EXPECT_EQ(0, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 0, refused 0, skipped 1, "));
  EXPECT_THAT(result.err, HasSubstr("page.cgi: unknown extension"));
  result = fenra({"index", store(), page, "--base-url", "u", "--mime", "TEXT/HTML; charset=utf-8"});
  EXPECT_THAT(result.out, StartsWith("indexed 1, "));
  EXPECT_THAT(search("Orria"), ElementsAre("u/page.cgi"));
  EXPECT_THAT(search("title"), IsEmpty());
}

struct Refusal {
  const char* name;
  std::string content;
  const char* reason;
};

void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.name; }

class RefusalTest : public IndexTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTest, IsReportedAndDoesNotEndTheRun) {
  const std::string bad = scratch_.write(GetParam().name, GetParam().content);
  const std::string good = scratch_.write("zz.txt", "mendia");
  const Result result = fenra({"index", store(), bad, good, "--base-url", "u"});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 1, refused 1, skipped 0, bytes 6, "));
  EXPECT_THAT(result.err, HasSubstr("fenra: refused: " + bad + ": "));
  EXPECT_THAT(result.err, HasSubstr(GetParam().reason));
  EXPECT_THAT(search("mendia"), ElementsAre("u/zz.txt"));
}

INSTANTIATE_TEST_SUITE_P(
    Reasons, RefusalTest,
    testing::Values(
        Refusal{"empty.txt", "", "the file is empty"},
        Refusal{"zero.txt", std::string("mendia\0x", 8), "a zero byte, at offset 6"},
        Refusal{"latin1.txt", "mendi\xf1 bat", "not valid UTF-8, at offset 5"},
        Refusal{"cut.html", "<title>x</title><body>\xc3", "not valid UTF-8, at offset 22"},
        Refusal{"untitled.html", "<html><body>mendia</body></html>", "no title followed by a body"},
        Refusal{"swapped.html", "<body>mendia</body><title>x</title>", "no title followed by"},
        Refusal{"a|b.txt", "mendia", "holds a '|'"},
        Refusal{"a\nb.txt", "mendia", "holds a control character"}));

TEST_F(IndexTest, RefusesWhatIsNoReadableFile) {
  const std::string good = scratch_.write("a.txt", "mendia");
  ASSERT_EQ(0, mkfifo(scratch_.path("pipe.txt").c_str(), 0600));
  const Result result =
      fenra({"index", store(), scratch_.path("none"), scratch_.path("pipe.txt"), good});
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 1, refused 2, "));
  EXPECT_THAT(result.err, HasSubstr("none: no such file or directory"));
  EXPECT_THAT(result.err, HasSubstr("pipe.txt: not a regular file"));
}

TEST_F(IndexTest, ReadsListsWithDatesAndSources) {
  const std::string a = scratch_.write("a", "mendia");
  const std::string b = scratch_.write("b", html_page("Orria", "mendia"));
  const std::string list = scratch_.write(
      "list", "u:1\ttext/plain\t" + a + "\n" +                       // the options' values
                  "u:2\ttext/html\t" + b + "\t20100101\tBerria\n" +  // its own
                  "u:3\ttext/plain\t" + a + "\t\t\n" +               // none
                  "u:4\ttext/plain\t" + a + "\t20100101");           // no line feed at the end
  const Result result =
      fenra({"index", store(), "--list", list, "--date", "20090315", "--source", "Argia"});
  EXPECT_EQ(0, result.status) << result.err;
  const auto lookup = [&](const std::string& option, const std::string& key) {
    return lines(fenra({"lookup", store(), option, key}).out);
  };
  EXPECT_THAT(lookup("--date", "20090315"), ElementsAre("u:1"));
  EXPECT_THAT(lookup("--date", "20100101"), ElementsAre("u:2", "u:4"));
  EXPECT_THAT(lookup("--source", "Argia"), ElementsAre("u:1", "u:4"));
  EXPECT_THAT(lookup("--source", "Berria"), ElementsAre("u:2"));
  EXPECT_THAT(lookup("--source", ""), ElementsAre("u:3"));
}

TEST_F(IndexTest, RefusesMalformedLinesOfAList) {
  const std::string page = scratch_.write("a", "mendia");
  const std::string good = "u:1\ttext/plain\t" + page;
  const Result result = fenra({"index", store(), "--list", "-"},
                              "u:0\n"
                              "\n" +
                                  good + "\n" +                      //
                                  good + "\t2009-03-15\n" +          //
                                  good + "\t20090315\ts\textra\n" +  //
                                  "\ttext/plain\t" + page + "\n" +   //
                                  "u:2\ttext/plain\t\n" +            //
                                  "u:3\timage/png\t" + page + "\n" + "u:4\ttext/plain\tnone\n");
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 1, refused 8, "));
  const std::string at = "fenra: refused: standard input:";
  EXPECT_THAT(
      lines(result.err),
      ElementsAre(StartsWith(at + "1: the line has 1 fields"),
                  StartsWith(at + "2: the line has 1 fields"),
                  at + "4: the date '2009-03-15' is not 8 digits",
                  StartsWith(at + "5: the line has 6 fields"), at + "6: the URL is empty",
                  at + "7: the path is empty", StartsWith(at + "8: unknown MIME type 'image/png'"),
                  "fenra: refused: none: cannot read the file: No such file or directory"));
}

TEST_F(IndexTest, ReplacesArticlesAsOftenAsTheyCome) {
  for (const char* text : {"lehena mendia", "bigarrena mendia", "hirugarrena mendia"}) {
    const std::string page = scratch_.write("a.txt", text);
    EXPECT_EQ(0, fenra({"index", store(), page, "--base-url", "u"}).status);
    EXPECT_THAT(search("mendia"), ElementsAre("u/a.txt"));
    EXPECT_THAT(fenra({"show", store(), "u/a.txt"}).out, HasSubstr(text));
  }
  EXPECT_THAT(search("lehena"), IsEmpty());
  const std::string other = scratch_.write("a.txt.txt", "beste bat");
  EXPECT_EQ(0, fenra({"index", store(), other, "--base-url", "u"}).status);
  EXPECT_THAT(fenra({"show", store(), "u/a.txt"}).out, HasSubstr("\nid: 3\n"));
  EXPECT_THAT(fenra({"stats", store()}).out, StartsWith("articles 2\nlast id  4\n"));
}

TEST_F(IndexTest, MakesAStoreOfAnEmptyDirectoryOnly) {
  const std::string page = scratch_.write("a.txt", "mendia");
  ASSERT_EQ(0, mkdir(store().c_str(), 0755));
  EXPECT_EQ(0, fenra({"index", store(), page}).status);
  EXPECT_THAT(search("mendia"), ElementsAre("file://" + page));

  scratch_.write("full/letter", "keep");
  Result result = fenra({"index", scratch_.path("full"), page});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("it has files, but no fenra.index; name a new or an empty"));
  EXPECT_THAT(ScratchDirectory::listing(scratch_.path("full")), ElementsAre("letter"));

  result = fenra({"index", page, page});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("Not a directory"));

  result = fenra({"index", scratch_.path("missing/store"), page});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("cannot make the store"));
  EXPECT_THAT(result.err, HasSubstr("No such file or directory"));
}

TEST_F(IndexTest, EndsWithStatus1WhenTheStoreFails) {
  const std::string page = scratch_.write("a.txt", "mendia");
  scratch_.write("store/fenra.index", std::string(8192, 'x'));
  const Result result = fenra({"index", store(), page});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("fenra: cannot open the store '" + store() + "': "));
}

TEST_F(IndexTest, DrawsTheBarOnATerminalAndTakesItAway) {
  if (!terminals_exist()) {
    GTEST_SKIP() << "there are no pseudo-terminals here";
  }
  scratch_.write("pages/a.txt", "mendia");
  scratch_.write("pages/b.txt", "");
  scratch_.write("pages/c.txt", "mendia");
  const Result result = fenra_on_terminal({"index", store(), scratch_.path("pages")}, 60);
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 2, refused 1, "));
  EXPECT_THAT(result.err, HasSubstr("\r["));
  EXPECT_THAT(result.err, HasSubstr("] 1/3 articles, "));
  // The refusal stands on a line of its own: the bar was removed before it.
  EXPECT_THAT(result.err, HasSubstr("\r\033[Kfenra: refused: "));
  EXPECT_THAT(result.err, Not(HasSubstr("left\n")));
}

// Everything but the file's own layout.
std::string outcome(const Result& result) {
  return std::to_string(result.status) + result.out.substr(0, result.out.find("seconds")) +
         result.err;
}

TEST_F(IndexTest, BuildsTheSameStoreInBulk) {
  std::string list;
  for (int i = 0; i < 60; ++i) {
    const std::string name = std::to_string(i);
    const bool html = i % 3 == 0;
    const std::string text = "etxea mendian " + std::string(1, static_cast<char>('a' + i % 26));
    const std::string path = scratch_.write(name, i % 10 == 4 ? ""
                                                  : html      ? html_page("Orria", text)
                                                              : text);
    list += "u:" + std::to_string(i % 45) + (html ? "\ttext/html\t" : "\ttext/plain\t") + path +
            "\t2026010" + std::to_string(i % 5) + "\n";
  }
  list += "u|\ttext/plain\t" + scratch_.path("0") + "\nu:9\ttext/plain\tnone\n";
  const std::string bulk = scratch_.path("bulk");
  const Result one_by_one = fenra({"index", store(), "--list", "-"}, list);
  EXPECT_EQ(3, one_by_one.status);
  EXPECT_EQ(outcome(one_by_one), outcome(fenra({"index", "--bulk", bulk, "--list", "-"}, list)));
  for (const Arguments& question :
       {Arguments{"search", "", "etxe"}, Arguments{"lookup", "", "--date", "20260103"},
        Arguments{"lookup", "", "--form", "mendian"}, Arguments{"show", "", "u:3"}}) {
    const auto ask = [&question](const std::string& path) {
      Arguments arguments = question;
      arguments[1] = path;
      return fenra(arguments).out;
    };
    EXPECT_EQ(ask(store()), ask(bulk)) << question.front();
    EXPECT_THAT(ask(bulk), HasSubstr("u:3"));
  }
  EXPECT_THAT(ScratchDirectory::listing(bulk), testing::Contains("fenra.lexicon"));
  const Result check = fenra({"verify", bulk, "--deep"});
  EXPECT_THAT(check.out, HasSubstr("problems 0, leftovers 0")) << check.out;
}

TEST_F(IndexTest, BuildsInBulkWhereNothingIs) {
  const std::string page = scratch_.write("full/a.txt", "mendia");
  ASSERT_EQ(0, fenra({"index", store(), page}).status);
  Result result = fenra({"index", "--bulk", store(), page});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("it is a store already; name a new or an empty directory"));
  EXPECT_EQ("", result.out);

  result = fenra({"index", "--bulk", scratch_.path("full"), page});
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.err, HasSubstr("there is something that is not a store; name a new"));
  EXPECT_THAT(ScratchDirectory::listing(scratch_.path("full")), ElementsAre("a.txt"));
}

// The next build clears away what one that was killed has left.
TEST_F(IndexTest, LeavesNothingOfABulkThatIsCutShort) {
  std::string list;
  for (int i = 0; i < 20000; ++i) {
    list += "u:" + std::to_string(i) + "\ttext/plain\t" + scratch_.path("a.txt") + "\n";
  }
  scratch_.write("a.txt", "mendia");
  const std::string file = scratch_.write("list", list);
  for (const int signal : {SIGINT, SIGKILL}) {
    const Result result = fenra_signalled(
        {"index", "--bulk", store(), "--list", file}, signal,
        [this] { return access(scratch_.path("store.fenra-build").c_str(), F_OK); });
    if (signal == SIGKILL) {
      EXPECT_EQ(1000 + SIGKILL, result.status);
    } else {
      EXPECT_EQ(130, result.status);
      EXPECT_THAT(result.out, StartsWith("indexed 0, refused 0, "));
      EXPECT_THAT(result.err, HasSubstr("interrupted: nothing is stored"));
      EXPECT_EQ(-1, access(scratch_.path("store.fenra-build").c_str(), F_OK));
    }
    EXPECT_EQ(-1, access(store().c_str(), F_OK));
  }
  EXPECT_EQ(0, fenra({"index", "--bulk", store(), scratch_.path("a.txt")}).status);
  EXPECT_EQ(-1, access(scratch_.path("store.fenra-build").c_str(), F_OK));
}

struct Line {
  uint64_t done;
  uint64_t total;
  double seconds;
  int width;
  const char* text;
};

void PrintTo(const Line& line, std::ostream* out) { *out << line.text; }

class ProgressLineTest : public testing::TestWithParam<Line> {};

TEST_P(ProgressLineTest, FitsItsWidth) {
  const Line& line = GetParam();
  const std::string text = cli::progress_line(line.done, line.total, line.seconds, line.width);
  EXPECT_EQ(line.text, text);
  EXPECT_LE(text.size(), static_cast<size_t>(line.width));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, ProgressLineTest,
    testing::Values(Line{0, 10, 0, 50, "[..................] 0/10 articles, 0/s, -:-- left"},
                    Line{5, 10, 2, 50, "[#########.........] 5/10 articles, 2/s, 0:02 left"},
                    Line{10, 10, 5, 50, "[#################] 10/10 articles, 2/s, 0:00 left"},
                    Line{1, 7300, 1, 50, "[.............] 1/7300 articles, 1/s, 2:01:39 left"},
                    Line{5, 10, 2, 38, "5/10 articles, 2/s, 0:02 left"},
                    Line{5, 10, 2, 8, "5/10 art"}, Line{5, 10, 2, 0, ""}));

}  // namespace
}  // namespace cli_test
