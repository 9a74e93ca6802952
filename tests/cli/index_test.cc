// The commands that make and change a store.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "facade/fenra.h"
#include "tests/cli/program.h"

namespace cli_test {
namespace {

class IndexTest : public ProgramTest {
 protected:
  std::string search(const std::string& word) const { return answer("search @store " + word); }
};

TEST_F(IndexTest, WalksDirectoriesInByteOrder) {
  for (const char* name : {"b.TXT", "style.css", "html"}) {
    write(std::string("pages/") + name, "mendia");
  }
  for (const char* name : {"a/z.Html", "a-1.htm", "a/sub/c.xhtml"}) {
    write(std::string("pages/") + name, html_page("Orria", "mendia"));
  }
  expect("index @store @pages/ --base-url https://x.eus/p", 0,
         StartsWith("indexed 4, refused 0, skipped 2, bytes "));
  EXPECT_EQ(search("mendia"),
            "https://x.eus/p/a-1.htm https://x.eus/p/a/sub/c.xhtml https://x.eus/p/a/z.Html "
            "https://x.eus/p/b.TXT");
}

TEST_F(IndexTest, FollowsLinksToFilesOnly) {
  write("pages/real.txt", "mendia");
  write("elsewhere/other.txt", "mendia");
  for (const auto& [target, name] : {std::pair("../elsewhere/other.txt", "link.txt"),
                                     {".", "loop"},
                                     {"../elsewhere", "loop.txt"},
                                     {"missing", "dangling.txt"}}) {
    std::filesystem::create_symlink(target, directory_ / "pages/" + name);
  }
  expect("index @store @pages --base-url u", 3, StartsWith("indexed 2, refused 1, skipped 2, "),
         HasSubstr("dangling.txt: cannot read the file: No such file"));
  EXPECT_EQ(search("mendia"), "u/link.txt u/real.txt");
}

TEST_F(IndexTest, TakesTheTypeOfNamedFilesFromTheCommandLine) {
  write("page.cgi", html_page("Orria", "mendia"));
  expect("index @store @page.cgi --base-url u", 0, StartsWith("indexed 0, refused 0, skipped 1, "),
         HasSubstr("page.cgi: unknown extension"));
  expect("index @store @page.cgi --base-url u --mime TEXT/HTML;_charset=utf-8", 0,
         StartsWith("indexed 1, "));
  EXPECT_EQ(search("Orria"), "u/page.cgi");
  EXPECT_EQ(search("title"), "");
}

TEST_F(IndexTest, RefusalsAreReportedAndDoNotEndTheRun) {
  const struct {
    const char* name;
    std::string content;
    const char* reason;
  } cases[] = {
      {"empty.txt", "", "the text is empty"},
      {"zero.txt", std::string("mendia\0x", 8), "the text holds a zero byte, at offset 6"},
      {"latin1.txt", "mendi\xf1 bat", "the text is not valid UTF-8, at offset 5"},
      {"cut.html", "<title>x</title><body>\xc3", "the text is not valid UTF-8, at offset 22"},
      {"untitled.html", "<html><body>mendia</body></html>",
       "the HTML has no title followed by a body"},
      {"swapped.html", "<body>mendia</body><title>x</title>", "the HTML has no title followed by"},
      {"a\nb.txt", "mendia", "its URL 'u/a\nb.txt' holds a control character"},
  };
  for (const auto& c : cases) {
    write(std::string("pages/") + c.name, c.content);
  }
  write("pages/good.txt", "mendia");
  ASSERT_EQ(0, mkfifo((directory_ / "pipe.txt").c_str(), 0600));
  const Result result = run("index @store --rules plain @none @pipe.txt @pages --base-url u");
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 1, refused 9, skipped 0, bytes 6, "));
  for (const auto& c : cases) {
    const std::string path = directory_ / "pages/" + c.name;
    EXPECT_THAT(result.err, HasSubstr("fenra: refused: " + path + ": " + c.reason));
  }
  EXPECT_THAT(result.err, HasSubstr("none: no such file or directory"));
  EXPECT_THAT(result.err, HasSubstr("pipe.txt: not a regular file"));
  EXPECT_EQ(search("mendia"), "u/good.txt");
}

TEST_F(IndexTest, ReadsListsWithDatesAndSources) {
  const std::string a = write("a", "mendia");
  const std::string b = write("b", html_page("Orria", "mendia"));
  write("list", "u:1\ttext/plain\t" + a + "\n" +                       // the options' values
                    "u:2\ttext/html\t" + b + "\t20100101\tBerria\n" +  // its own
                    "u:3\ttext/plain\t" + a + "\t\t\n" +               // none
                    "u:4\ttext/plain\t" + a + "\t20100101");           // no line feed at the end
  expect("index @store --list @list --date 20090315 --source Argia", 0, StartsWith("indexed 4, "));
  for (const auto& [key, urls] : {std::pair("--date 20090315", "u:1"),
                                  {"--date 20100101", "u:2 u:4"},
                                  {"--source Argia", "u:1 u:4"},
                                  {"--source Berria", "u:2"},
                                  {"--source .", "u:3"}}) {
    EXPECT_EQ(answer(std::string("lookup @store ") + key), urls) << key;
  }
}

TEST_F(IndexTest, RefusesMalformedLinesOfAList) {
  const std::string page = write("a", "mendia");
  const std::string good = "u:1\ttext/plain\t" + page;
  const Result result =
      run("index @store --list -", "u:0\n\n" + good + "\n" + good + "\t2009-03-15\n" + good +
                                       "\t20090315\ts\textra\n\ttext/plain\t" + page +
                                       "\nu:2\ttext/plain\t\nu:3\timage/png\t" + page +
                                       "\nu:4\ttext/plain\tnone\n");
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

TEST_F(IndexTest, ReadsJsonLines) {
  write(
      "pages.jsonl",
      R"({"url":"u:1","text":"mendia \u00f1","date":"20100101","source":"Berria","more":{"url":[1]}})"
      "\n{\"url\":\"u:2\",\n"
      R"({"url":"u:3","html":"<meta charset=latin1><title>Orria</title><body>ñandua</body>"})"
      "\n[\"url\"]\n"
      R"({"text":"mendia"})"
      "\n"
      R"({"url":"u:4","text":"mendia","mime":"image/png"})"
      "\n"
      R"({"url":"u:1","text":"mendia berriz","date":null})");
  for (const char* store : {"@store", "--bulk @bulk"}) {
    const Result result = run(std::string("index ") + store + " @pages.jsonl --date 20090315");
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(result.out, StartsWith("indexed 3, refused 4, skipped 0, "));
    const std::string at = "fenra: refused: " + (directory_ / "pages.jsonl") + ":";
    EXPECT_THAT(lines(result.err),
                ElementsAre(StartsWith(at + "2: the line is not JSON, at its byte "),
                            at + "4: the line is no JSON object", at + "5: it has no \"url\"",
                            StartsWith(at + "6: unknown MIME type 'image/png'")));
  }
  for (const char* store : {"@store ", "@bulk "}) {
    EXPECT_EQ(answer(std::string("search ") + store + "ñandua"), "u:3");
    EXPECT_EQ(answer(std::string("search ") + store + "mendia"), "u:1");
    EXPECT_EQ(answer(std::string("lookup ") + store + "--date 20090315"), "u:3 u:1");
  }
}

TEST_F(IndexTest, MakesAStoreOfAnEmptyDirectoryOnly) {
  const std::string page = write("a.txt", "mendia");
  std::filesystem::create_directory(directory_ / "store");
  expect("index @store @store/../a.txt", 0, StartsWith("indexed 1"));
  EXPECT_EQ(search("mendia"), "file://" + page);

  write("full/letter", "keep");
  write("bad/fenra.index", std::string(8192, 'x'));
  const std::pair<const char*, std::string> cases[] = {
      {"index @full @a.txt", "it has files, but no fenra.index; name a new or an empty"},
      {"index --bulk @full @a.txt", "there is something that is not a store; name a new"},
      {"index --bulk @store @a.txt", "it is a store already; name a new or an empty directory"},
      {"index @a.txt @a.txt", "Not a directory"},
      {"index @missing/store @a.txt", "cannot make the store"},
      {"index @bad @a.txt", "fenra: cannot open the store '" + (directory_ / "bad") + "': "},
  };
  for (const auto& [call, message] : cases) {
    expect(call, 1, "", HasSubstr(message));
  }
  EXPECT_THAT(listing(directory_ / "full"), ElementsAre("letter"));
}

TEST_F(IndexTest, DrawsTheBarOnATerminalAndTakesItAway) {
  for (const auto& [name, text] : {std::pair("a", "mendia"), {"b", ""}, {"c", "mendia"}}) {
    write(std::string("pages/") + name + ".txt", text);
  }
  const Result result = fenra_on_terminal(arguments("index @store @pages"), 60);
  if (result.status == -1) {
    GTEST_SKIP() << "there are no pseudo-terminals here";
  }
  EXPECT_EQ(3, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 2, refused 1, "));
  // The refusal stands on a line of its own: the bar was removed before it.
  EXPECT_THAT(result.err, AllOf(HasSubstr("\r["), HasSubstr("] 1/3 articles, "),
                                HasSubstr("\r\033[Kfenra: refused: "), Not(HasSubstr("left\n"))));
  const Result quiet = fenra_on_terminal(arguments("index @store @pages --quiet"), 60);
  EXPECT_EQ(3, quiet.status);
  EXPECT_EQ("", quiet.out);
  EXPECT_THAT(quiet.err, AllOf(StartsWith("fenra: refused: "), Not(HasSubstr("\r["))));
  for (const char* call : {"delete @store u:none --quiet", "rebuild @store @new --quiet",
                           "compact @store --quiet", "backup @store @copy --quiet"}) {
    EXPECT_EQ("", run(call).out) << call;
  }
}

// Everything but the time that was taken.
std::string outcome(const Result& result) {
  return std::to_string(result.status) + result.out.substr(0, result.out.find("seconds")) +
         result.err;
}

TEST_F(IndexTest, BuildsTheSameStoreInBulk) {
  std::string list;
  for (int i = 0; i < 60; ++i) {
    const bool html = i % 3 == 0;
    const std::string text = "etxea mendian " + std::string(1, static_cast<char>('a' + i % 26));
    const std::string path = write(std::to_string(i), i % 10 == 4 ? ""
                                                      : html      ? html_page("Orria", text)
                                                                  : text);
    list += "u:" + std::to_string(i % 45) + (html ? "\ttext/html\t" : "\ttext/plain\t") + path +
            "\t2026010" + std::to_string(i % 5) + "\n";
  }
  list += "u|\ttext/plain\t" + (directory_ / "0") + "\nu:9\ttext/plain\tnone\n";
  const Result one_by_one = run("index @store --list -", list);
  EXPECT_EQ(3, one_by_one.status);
  EXPECT_EQ(outcome(one_by_one), outcome(run("index --bulk @bulk --list -", list)));
  for (const std::string question :
       {"search @S etxe", "lookup @S --date 20260103", "lookup @S --form mendian", "show @S u:3"}) {
    const auto ask = [&, at = question.find("@S")](const char* store) {
      return run(std::string(question).replace(at, 2, store)).out;
    };
    EXPECT_THAT(ask("@store"), HasSubstr("u:3"));
    EXPECT_EQ(ask("@bulk"), ask("@store"));
  }
  expect("show @bulk u|", 0, StartsWith("url: u%7C\n"));
  EXPECT_THAT(listing(directory_ / "bulk"), testing::Contains("fenra.lexicon"));
  expect("verify @bulk --deep", 0, HasSubstr("problems 0, leftovers 0"));
}

TEST_F(IndexTest, LeavesNothingOfABulkThatIsCutShort) {
  const std::string page = write("a.txt", "mendia");
  std::string list;
  for (int i = 0; i < 20000; ++i) {
    list += "u:" + std::to_string(i) + "\ttext/plain\t" + page + "\n";
  }
  write("list", list);
  const auto exists = [&](const char* name) { return std::filesystem::exists(directory_ / name); };
  const Result result = fenra_signalled(arguments("index --bulk @store --list @list"), SIGINT,
                                        [&] { return exists("store.fenra-build"); });
  EXPECT_EQ(130, result.status);
  EXPECT_THAT(result.out, StartsWith("indexed 0, refused 0, "));
  EXPECT_THAT(result.err, HasSubstr("interrupted: nothing is stored"));
  EXPECT_FALSE(exists("store.fenra-build"));
  EXPECT_FALSE(exists("store"));
  expect("index --bulk @store @a.txt", 0, StartsWith("indexed 1"));
}

TEST_F(IndexTest, NamesWhatStandsInTheWayOfABuild) {
  write("a.txt", "mendia");
  expect("index --bulk @store @a.txt", 0, StartsWith("indexed 1"));
  for (const char* store : {"store", "new"}) {
    std::filesystem::create_directory_symlink("elsewhere",
                                              directory_ / std::string(store) + ".fenra-build");
  }
  const auto reason = [this](const std::string& store) {
    return HasSubstr("'" + (directory_ / store) + ".fenra-build' is no directory, or belongs to");
  };
  expect("index --bulk @new/ @a.txt", 1, "", reason("new"));
  expect("compact @store", 1, "", reason("store"));
  std::filesystem::remove(directory_ / "store.fenra-build");
  std::filesystem::create_directory(directory_ / "store/inside");
  expect("compact @store", 1, "", HasSubstr("there is a directory in it"));
}

// ---- verify, compact and rebuild ----

class VerifyTest : public ProgramTest {
 protected:
  void SetUp() override {
    const std::string list =
        "u:1\ttext/plain\t" + write("a", "Etxe zuria mendian dago") + "\t20090315\ta\";b\n" +
        "u:2\ttext/html\t" + write("b", html_page("Etxeak", "itsasoa")) + "\n" +
        "u:1\ttext/plain\t" + write("c", "etxe urdina itsasoan") + "\t20100101\tArgia\n";
    expect("index @store --list -", 0, StartsWith("indexed 3"), "", list);
  }
};

TEST_F(VerifyTest, FindsSoundnessAndDamage) {
  for (const char* call : {"verify @store", "verify @store --deep"}) {
    expect(call, 0,
           AllOf(StartsWith("articles 2, postings "), HasSubstr("problems 0, leftovers 0")));
  }
  std::fstream file(directory_ / "store/fenra.index",
                    std::ios::in | std::ios::out | std::ios::binary | std::ios::ate);
  file.seekp(file.tellg() / 4096 * 3 / 8 * 4096);
  file << std::string(4096, '\x55');
  file.close();
  const Result result = run("verify @store --deep");
  EXPECT_EQ(1, result.status);
  EXPECT_THAT(result.out + result.err, testing::AnyOf(HasSubstr("problem: "), HasSubstr("cannot")));
  EXPECT_EQ(1, run("verify @none").status);
}

TEST_F(VerifyTest, ACompactedStoreIsSoundAndTheSame) {
  const std::string before = run("show @store u:2").out;
  expect("compact @store", 0,
         AllOf(StartsWith("database          pages     fill          now     fill\n"),
               HasSubstr("\ntotal ")));
  EXPECT_THAT(listing(directory_ / "store"), ElementsAre("fenra.index", "fenra.lexicon"));
  expect("show @store u:2", 0, before);
  expect("verify @store --deep", 0, HasSubstr("problems 0, leftovers 0"));
  expect("compact @none", 1, "", HasSubstr("there is no store at"));
}

TEST_F(VerifyTest, RebuildsEveryLiveArticle) {
  expect("rebuild @store @new", 0, StartsWith("indexed 2, refused 0, skipped 0, "));
  expect("search @new etxea", 0, run("search @store etxea").out);
  expect("show @new u:2", 0, AllOf(HasSubstr("mime: text/html"), HasSubstr("itsasoa")));
  expect("show @new u:1", 0,
         AllOf(HasSubstr("source: Argia"), HasSubstr("date: 20100101"), HasSubstr("etxe urdina"),
               Not(HasSubstr("mendian"))));
  EXPECT_EQ(0, run("verify @new --deep").status);
  // Not into a store that is there.
  EXPECT_EQ(1, run("rebuild @store @new").status);
}

// ---- URLs with '|' ----

class BarTest : public ProgramTest {
 protected:
  // As the library stores it, which escapes nothing.
  void store(const std::string& path, const std::string& url) const {
    const std::unique_ptr<ostren::fenra::Fenra> instance(
        ostren::fenra::Fenra::createInstance((directory_ / path).c_str()));
    ASSERT_EQ(instance->index(url.c_str(), "mendia", "text/plain"), ostren::fenra::FENRA_NO_ERROR);
  }
};

TEST_F(BarTest, AreShownAndRebuiltWhole) {
  // URLs that go on like metadata, and one that ends before; replaced, so that an id of
  // theirs comes before that of the article.
  for (const char* url : {"u", "u|a", "u|k=\"v", "u|b", "u|k=\"v", "u", "u|k=\"v|lang=\""}) {
    store("store", url);
  }
  const std::string list = "u|a\ttext/plain\t" + write("a", "mendia") + "\t\tx|k=\"v\";\n";
  expect("index @store --list -", 0, StartsWith("indexed 1"), "", list);
  EXPECT_EQ(answer("search @store mendia"), "u|a u|b u|k=\"v u u|k=\"v|lang=\" u%7Ca");
  expect("show @store u|b", 0, StartsWith("url: u|b\nid: 4\n"));
  expect("show @store u|k=\"v", 0, StartsWith("url: u|k=\"v\nid: 5\n"));
  expect("show @store u|a", 0,
         AllOf(StartsWith("url: u%7Ca\nid: 8\n"), HasSubstr("\nsource: x|k=\"v\";\n")));
  expect("verify @store", 0, HasSubstr("problems 0, leftovers 0"));
  expect("rebuild @store @new", 3, StartsWith("indexed 5, refused 1, skipped 0, bytes 30, "),
         "fenra: refused: article 2: article 8, which is newer, has its URL 'u%7Ca' too\n");
  EXPECT_EQ(answer("search @new mendia"), "u%7Cb u%7Ck=\"v u u%7Ck=\"v%7Clang=\" u%7Ca");
  expect("show @new u|b", 0, StartsWith("url: u%7Cb\n"));
  expect("verify @new", 0, HasSubstr("problems 0, leftovers 0"));
}

TEST_F(BarTest, TooManyAreALoudFailure) {
  std::string url = "u";
  for (int i = 0; i < 1001; ++i) {
    url += "|k=\"";
  }
  store("store", url);
  const Text reason = HasSubstr("the URL 'u' of article 1 goes on, and may end in more than 1000");
  expect("search @store mendia", 1, "", reason);
  expect("verify @store", 1, reason);
  expect("rebuild @store @new", 3, StartsWith("indexed 0, refused 1, "), reason);
}

// ---- tune ----

TEST_F(VerifyTest, TuneSetsShowsAndTakesBack) {
  const std::string config = "store/DB_CONFIG";
  const std::string normal =
      "cache set       10M, the default\ncache in effect 12.5 MiB of memory\n";
  expect("tune @store", 0, normal);
  write(config, "# mine\nset_cachesize 0 30000 1\n\n set_lg_max 10485760");
  for (const auto& [size, memory, setting] :
       {std::tuple<std::string, std::string, std::string>{"64M", "80.0", "0 67108864"},
        {"1025M", "1025.0", "1 1048576"}}) {
    expect("tune @store --cache " + size, 0,
           "cache set       " + size + ", in DB_CONFIG\ncache in effect " + memory +
               " MiB of memory\n");
    EXPECT_EQ(directory_.read(config),
              "# mine\n\n set_lg_max 10485760\nset_cachesize " + setting + " 1\n");
  }
  expect("search @store etxe --count", 0, "2\n");
  expect("tune @store --cache default", 0, normal);
  EXPECT_EQ(directory_.read(config), "# mine\n\n set_lg_max 10485760\n");
  write(config, "");
  expect("tune @store --cache 20480", 0, StartsWith("cache set       20K, in DB_CONFIG\n"));
  expect("tune @store --cache default", 0, normal);
  EXPECT_FALSE(std::filesystem::exists(directory_ / config));
  EXPECT_EQ(1, run("tune @none --cache 1M").status);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "none"));
  write(config, "set_flags DB_TXN_NOSYNC on\n");
  expect("tune @store --cache 1M", 1, "", HasSubstr("line 1, 'set_flags DB_TXN_NOSYNC on'"));
}

}  // namespace
}  // namespace cli_test
