// WARC files as inputs of `index`.
#include "tests/cli/program.h"
#include "tests/support/memory_source.h"

namespace cli_test {
namespace {

constexpr int kGzip = 31;

std::string record(const std::string& url, const std::string& body, const std::string& day,
                   const std::string& type = "response", const std::string& status = "200") {
  const std::string block = "HTTP/1.1 " + status + "\r\nContent-Type: text/plain\r\n\r\n" + body;
  return deflated("WARC/1.0\r\nWARC-Type: " + type + "\r\nWARC-Target-URI: <" + url +
                      ">\r\nWARC-Date: " + day + "T10:00:00Z\r\nContent-Length: " +
                      std::to_string(block.size()) + "\r\n\r\n" + block + "\r\n\r\n",
                  kGzip);
}

class CrawlTest : public ProgramTest {};

TEST_F(CrawlTest, GoesInBothWaysAndTheLastResponseWins) {
  const std::string last = record("u:4", "mendia", "2009-03-17");
  const std::string crawl = record("u:1", "itsasoa", "2009-03-15") +
                            record("u:2", "mendia", "2009-03-15") +
                            record("u:3", "mendia", "2009-03-15", "response", "404") +
                            record("u:1", "mendia", "2009-03-16") + record("u:5", "", "2009-03-16");
  write("crawl", crawl + last.substr(0, last.size() / 2));
  write("pages/a.txt", "mendia");
  write("more.jsonl.gz", deflated("{\"url\":\"u:6\",\"text\":\"mendia\"}\n", kGzip));
  const std::string inputs = " @crawl @pages/ @more.jsonl.gz --base-url u --source s";
  for (const std::string store : {"@store", "--bulk @bulk"}) {
    const Result result = run("index " + store + inputs + " --json");
    EXPECT_EQ(3, result.status);
    EXPECT_THAT(result.out, AllOf(StartsWith("{\"indexed\":5,\"refused\":2,\"skipped\":1,"),
                                  HasSubstr("\"skipped_for\":{\"status 404\":1}")));
    EXPECT_THAT(
        lines(result.err),
        ElementsAre(HasSubstr(": u:5: the text is empty"),
                    MatchesRegex(".*refused: .*/crawl, byte [0-9]+: the file is cut off here"),
                    "fenra: skipped: status 404: 1"));
  }
  for (const std::string store : {"@store ", "@bulk "}) {
    EXPECT_EQ(answer("search " + store + "mendi"), "u:2 u:1 u/a.txt u:6");
    EXPECT_EQ(answer("search " + store + "itsaso"), "");
    EXPECT_EQ(answer("lookup " + store + "--date 20090316"), "u:1");
    EXPECT_EQ(answer("lookup " + store + "--source s"), "u:2 u:1 u/a.txt u:6");
  }
  expect("index @new - --format warc", 3, StartsWith("indexed 3, "),
         HasSubstr("standard input, byte"), crawl);
}

TEST_F(CrawlTest, ASecondVisitLeavesTheDateOfWhatIsUnchanged) {
  const std::string call = "index @store - --format warc --source s --skip-unchanged --prune";
  std::string first;
  for (const char* url : {"u:1", "u:2", "u:3", "u:4"}) {
    first += record(url, "mendia", "2009-03-15");
  }
  expect(call, 0, StartsWith("indexed 4, "), "", first);
  // One page is as it was, another not, one was only asked whether it has changed, and one is gone.
  expect(call, 0, StartsWith("indexed 1, refused 0, skipped 2, unchanged 1, deleted 1, "),
         "fenra: skipped: record type revisit: 1, status 404: 1\n",
         record("u:1", "mendia", "2009-03-22") + record("u:2", "itsasoa", "2009-03-22") +
             record("u:3", "", "2009-03-22", "revisit") +
             record("u:4", "", "2009-03-22", "response", "404"));
  EXPECT_EQ(answer("lookup @store --date 20090315"), "u:1 u:3");
  EXPECT_EQ(answer("lookup @store --date 20090322"), "u:2");
}

}  // namespace
}  // namespace cli_test
