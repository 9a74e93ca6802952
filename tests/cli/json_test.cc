// The answers in JSON, read by a strict parser.
#include "cli/json.h"

#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/cli/program.h"
#include "tests/store/store_fixture.h"

namespace cli_test {
namespace {

using nlohmann::ordered_json;
using ostren::fenra::text::repaired_utf8;

// The objects of an answer, one a line. What is no JSON ends the test.
std::vector<ordered_json> objects(const Result& result) {
  std::vector<ordered_json> objects;
  for (const std::string& line : lines(result.out)) {
    objects.push_back(ordered_json::parse(line));
  }
  return objects;
}

std::string many(size_t count, const std::string& text) {
  std::string result;
  while (count-- > 0) {
    result += text;
  }
  return result;
}

struct Hostile {
  std::string text;
  std::string title;
};

const std::vector<Hostile>& hostile() {
  static const std::vector<Hostile> texts = [] {
    std::vector<Hostile> result = {{"\"", "\""},
                                   {"\\", "\\"},
                                   {"\"}\n{\"id\":1}", "\"}"},
                                   {"\x01\x02\x1F\x7F\b", "\x01\x02\x1F\x7F\b"},
                                   {"a\r\nb", "a"},
                                   {"a\u2028b\u2029c\u0085d", "a\u2028b\u2029c\u0085d"},
                                   {"\v\u00A0\u3000\u0085", "end"},
                                   {"\uFEFF\uFFFF\U0010FFFF", "\uFEFF\uFFFF\U0010FFFF"},
                                   {many(200, "\u00F1"), many(200, "\u00F1")},
                                   {many(201, "\u00F1"), many(199, "\u00F1") + "\u2026"},
                                   {many(100000, "\xFF"), many(199, "\uFFFD") + "\u2026"}};
    // A continuation, cut characters, overlong ones, a surrogate, beyond Unicode, no UTF-8 at all.
    for (const char* invalid : {"\x80", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xC0\x80",
                                "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF\xFE"}) {
      result.push_back({invalid, many(strlen(invalid), "\uFFFD")});
    }
    return result;
  }();
  return texts;
}

// A store of articles, written past the checks of the program, that have hostile texts for URL,
// source, another pair of metadata and text.
class JsonTest : public ProgramTest {
 protected:
  void make_store() const {
    ArticledbDb* db = articledb_db_new();
    ASSERT_EQ(0, articledb_db_create(db, (directory_ / "store").c_str()));
    for (const Hostile& article : hostile()) {
      auto values = articleValues("u:" + article.text, kBefore + article.text + kBehind);
      values["source"] = values["other"] = article.text;
      TokenList tokens = {{"etxe"}};
      EXPECT_EQ(0, articledb_db_index(db, Metadata(values), TokenList::pull, &tokens,
                                      articledb_lemmatizer_identity, nullptr));
    }
    ASSERT_EQ(0, articledb_db_close(db));
  }

  static inline const std::string kBefore = " \n\t\u00A0\r\n ";
  static inline const std::string kBehind = " \nend";
};

TEST_F(JsonTest, ArticlesParseWhateverTheyHold) {
  ASSERT_NO_FATAL_FAILURE(make_store());
  const Result result = run("lookup @store --form etxe --json");
  EXPECT_EQ(result.err, "");
  // Readers of lines may take these for ends of one.
  EXPECT_THAT(result.out, Not(testing::ContainsRegex("\u2028|\u2029|\u0085")));
  const std::vector<ordered_json> found = objects(result);
  ASSERT_EQ(found.size(), hostile().size());
  for (size_t i = 0; i < found.size(); ++i) {
    const auto& [text, title] = hostile()[i];
    ordered_json expected = {{"id", i + 1},
                             {"url", "u:" + repaired_utf8(text)},
                             {"title", title},
                             {"date", "20260102"},
                             {"source", repaired_utf8(text)}};
    EXPECT_EQ(found[i].dump(), expected.dump());
    expected["mime"] = "";
    expected["lang"] = "eu";
    expected["metadata"] = {{"other", repaired_utf8(text)}};
    expected["text"] = repaired_utf8(kBefore + text + kBehind);
    const std::vector<ordered_json> shown =
        objects(fenra({"show", directory_ / "store", "u:" + text, "--json"}));
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown.front().dump(), expected.dump());
  }
}

TEST_F(JsonTest, WordsParseWhateverTheyHold) {
  std::string words = "etxearen\n";
  std::vector<std::string> expected = {"etxearen"};
  for (const Hostile& hostile_word : hostile()) {
    words += hostile_word.text + "\n";
    for (const std::string& line : lines(hostile_word.text)) {
      expected.push_back(repaired_utf8(line));
    }
  }
  for (const std::string rules : {"web", "plain"}) {
    const std::vector<ordered_json> found = objects(run("lemma --json --rules " + rules, words));
    ASSERT_EQ(found.size(), expected.size());
    EXPECT_EQ(found[0].dump(),
              R"({"form":"etxearen","lemma":"etxe","analyses":["IZE/etxe+","ASM/etxe+"]})");
    for (size_t i = 1; i < found.size(); ++i) {
      EXPECT_EQ(found[i]["form"], expected[i]);
      EXPECT_TRUE(found[i]["lemma"].is_string());
      EXPECT_TRUE(found[i]["analyses"].is_array());
    }
  }
}

TEST_F(JsonTest, SummariesAndSizesAreThoseOfThePlainAnswers) {
  write("pages/a\"\xFF.txt", "etxe zuria");
  write("pages/b.txt", "");
  write("pages/c.pdf", "");
  for (const char* way : {"@store", "--bulk @bulk"}) {
    const Result indexed = run("index " + std::string(way) + " @pages --json --base-url u");
    EXPECT_THAT(indexed.err, HasSubstr("fenra: refused: "));
    ASSERT_EQ(objects(indexed).size(), 1u);
    ordered_json summary = objects(indexed).front();
    EXPECT_GT(summary["seconds"].get<double>(), 0);
    summary["seconds"] = 0;
    EXPECT_EQ(summary.dump(), R"({"indexed":1,"refused":1,"skipped":1,"bytes":10,"seconds":0})");
  }
  const ordered_json stats = objects(run("stats @store --json")).at(0);
  int entries = 0;
  int bytes = 0;
  for (const ordered_json& database : stats["databases"]) {
    entries += database["entries"].get<int>();
    bytes += database["bytes"].get<int>();
  }
  EXPECT_EQ(stats["total"], ordered_json({{"entries", entries}, {"bytes", bytes}}));
  const std::string lexicon = stats["library_lexicon"];
  expect("stats @store", 0,
         AllOf(StartsWith("articles " + stats["articles"].dump() + "\nlast id  " +
                          stats["last_id"].dump() + "\nlog      " + stats["log_bytes"].dump() +
                          " bytes\nrules    web\nlexicon  " + lexicon),
               HasSubstr(std::to_string(entries) + "  "),
               testing::EndsWith(" " + std::to_string(bytes) + "\n")));
  EXPECT_EQ(stats["rules"], "web");
  EXPECT_EQ(stats["lexicons"], ordered_json::array({lexicon}));
  EXPECT_EQ(stats["needs_rebuild"], false);
}

// What ends a value looks like what ends it, again and again.
TEST_F(JsonTest, MetadataAreReadInLinearTime) {
  const std::string source = many(1000000, "\";");
  const std::string path = write("a", "etxe");
  run("index @store --list -", "u:1\ttext/plain\t" + path + "\t20090315\t" + source + "\n");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(objects(run("show @store u:1 --json")).at(0)["source"], source);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8));
}

TEST(Json, WritesEveryKindOfMember) {
  const std::string line = cli::JsonObject()
                               .add_number("n", UINT64_MAX)
                               .add_null("\xFF")
                               .add_flag("f", true)
                               .add_ranges("r", {{0, 3}, {5, 7}})
                               .add_objects("o", {cli::JsonObject(), cli::JsonObject()})
                               .add_texts("t", {"\xFF", "\"", std::string("\0", 1)})
                               .line();
  EXPECT_EQ(line,
            "{\"n\":18446744073709551615,\"\uFFFD\":null,\"f\":true,\"r\":[[0,3],[5,7]],"
            "\"o\":[{},{}],\"t\":[\"\uFFFD\",\"\\\"\",\"\\u0000\"]}");
}

}  // namespace
}  // namespace cli_test
