// Indexing again what is stored, and deleting it.
#include <signal.h>

#include <filesystem>
#include <map>

#include "tests/cli/program.h"

namespace cli_test {
namespace {

class AgainTest : public ProgramTest {
 protected:
  std::string search(const std::string& word) const { return answer("search @store " + word); }

  // A line of a list for every file.
  std::string line(const std::string& url, const std::string& text,
                   const std::string& source = "iturria") const {
    return url + "\ttext/plain\t" + write("page" + url, text) + "\t20090315\t" + source + "\n";
  }

  std::map<std::string, std::string> bytes() const {
    std::map<std::string, std::string> bytes;
    for (const std::string& name : listing(directory_ / "store")) {
      if (name == "fenra.index" || name.substr(0, 4) == "log.") {
        bytes[name] = directory_.read("store/" + name);
      }
    }
    return bytes;
  }
};

TEST_F(AgainTest, PassesOverWhatIsUnchanged) {
  const std::string call = "index @store --skip-unchanged --list -";
  std::string list = line("u:1", "mendia") + line("u|2", "mendia bat") + line("u:3", "");
  expect(call, 3, StartsWith("indexed 2, refused 1, skipped 0, unchanged 0, bytes "),
         HasSubstr("page"), list);
  const auto before = bytes();
  expect(call, 3, StartsWith("indexed 0, refused 1, skipped 0, unchanged 2, bytes 0,"),
         HasSubstr("page"), list);
  EXPECT_EQ(bytes() == before, true);
  // Each is compared with what comes before it.
  list = line("u:1", "mendia eta") + line("u:1", "mendia eta");
  expect(call, 0, StartsWith("indexed 1, refused 0, skipped 0, unchanged 1, "), "", list);
  list = "u:1\ttext/plain\t" + write("a", "lehena") + "\nu:1\ttext/plain\t" +
         write("b", "mendia eta") + "\t20090315\titurria\n";
  expect(call, 0, StartsWith("indexed 2, refused 0, skipped 0, unchanged 0, "), "", list);
  expect("show @store u:1", 0, AllOf(HasSubstr("\nid: 5\n"), HasSubstr("mendia eta")));
}

TEST_F(AgainTest, PrunesWhatTheSourceDoesNotHaveAnyMore) {
  const std::string a = line("u:a", "mendia", "A");
  const std::string b = line("u|b", "mendia", "A");
  const std::string c = line("u:c", "mendia", "B");
  expect("index @store --list -", 0, StartsWith("indexed 4, "), "",
         a + b + c + line("u:d", "mendia", "A"));
  // It was of the source.
  const std::string d = line("u:d", "mendia", "B");
  expect("index @store --list -", 0, StartsWith("indexed 1, "), "", d);
  const std::string call = "index @store --skip-unchanged --prune --source A --list -";
  expect(call, 3, HasSubstr("unchanged 1, deleted 0, "),
         HasSubstr("no article of 'A' is deleted, since some inputs were refused"), b + "u:x\n");
  EXPECT_EQ(search("mendia"), "u:a u%7Cb u:c u:d");
  expect(call, 0, StartsWith("indexed 0, refused 0, skipped 0, unchanged 1, deleted 1, bytes 0"),
         "", b);
  EXPECT_EQ(search("mendia"), "u%7Cb u:c u:d");
  expect(call, 0, HasSubstr("deleted 1, "), "", c);
  EXPECT_EQ(search("mendia"), "u:c u:d");
  const std::pair<const char*, const char*> wrong[] = {
      {"index @store --prune --list -", "name it with --source"},
      {"index @new --bulk --prune --source A --list -", "--bulk builds a new store"},
      {"index @new --bulk --skip-unchanged --list -", "--bulk builds a new store"}};
  for (const auto& [wrong_call, message] : wrong) {
    expect(wrong_call, 2, "", HasSubstr(message));
  }
}

TEST_F(AgainTest, DoesNotPruneWhenItIsInterrupted) {
  expect("index @store --list -", 0, StartsWith("indexed 1, "), "", line("u", "mendia"));
  std::string list;
  for (int i = 0; i < 20000; ++i) {
    list += "u:" + std::to_string(i) + "\ttext/plain\t" + (directory_ / "pageu") + "\n";
  }
  write("list", list);
  const Result result =
      fenra_signalled(arguments("index @store --prune --source iturria --list @list"), SIGINT,
                      [&] { return std::filesystem::exists(directory_ / "store/fenra.journal"); });
  EXPECT_EQ(130, result.status);
  EXPECT_THAT(result.out, HasSubstr("deleted 0, "));
  EXPECT_THAT(result.err, HasSubstr("interrupted: no article of 'iturria' is deleted"));
  expect("show @store u", 0, HasSubstr("mendia"));
}

TEST_F(AgainTest, DeletesArticlesByTheirUrls) {
  const std::string long_url = "u:" + std::string(2000, 'l');
  std::string list = line("u:1", "mendia") + line("u|2", "mendia") + line("u:3", "mendia");
  list += long_url + "\ttext/plain\t" + (directory_ / "pageu:1") + "\n";
  expect("index @store --list -", 0, StartsWith("indexed 4, "), "", list);
  write("list", "u|2\nu:5\n" + long_url);
  expect(
      "delete @store u:1 u:4 --list @list", 3, "deleted 3, unknown 2\n",
      AllOf(HasSubstr("there is no article 'u:4' in"), HasSubstr("there is no article 'u:5' in")));
  EXPECT_EQ(search("mendia"), "u:3");
  EXPECT_EQ(1, run("show @store u|2").status);
  expect("delete @store --list -", 0, "deleted 1, unknown 0\n", "", "u:3");
  expect("verify @store --deep", 0, HasSubstr("articles 0, postings "));
  expect("delete @store", 2, "", HasSubstr("name at least one URL"));
  expect("delete @store --list @none", 1, "", HasSubstr("cannot read the list"));
  expect("delete @none u", 1, "", HasSubstr("there is no store at"));
}

}  // namespace
}  // namespace cli_test
