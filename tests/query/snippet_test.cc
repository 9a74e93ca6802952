// Marks and snippets.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "tests/query/query_store.h"

namespace fenra_test {
namespace {

class SnippetTest : public testing::Test {
 protected:
  SnippetTest() : web_("web"), plain_("plain") {
    for (QueryStore* store : {&web_, &plain_}) {
      store->add({ALL_WORDS}, "u:1");
    }
  }

  static Marker marker(const QueryStore& store, const Query& query) {
    return Marker(articledb_query_marker_new(query.get(), store.db()));
  }

  // The text with brackets around what is marked.
  static std::string marked(const QueryStore& store, const std::string& asked,
                            const std::string& text) {
    const Query query = store.parse(asked);
    const Marker made = marker(store, query);
    const ArticledbQueryRange* ranges = nullptr;
    guint32 count = 0;
    EXPECT_EQ(articledb_query_mark(made.get(), text.data(), static_cast<guint32>(text.size()),
                                   &ranges, &count),
              0);
    return bracketed(text, {0, static_cast<guint32>(text.size())}, ranges, count);
  }

  static std::string snippet(const QueryStore& store, const std::string& asked,
                             const std::string& text, guint32 most) {
    const Query query = store.parse(asked);
    const Marker made = marker(store, query);
    ArticledbQueryRange window = {};
    const ArticledbQueryRange* ranges = nullptr;
    guint32 count = 0;
    EXPECT_EQ(articledb_query_snippet(made.get(), text.data(), static_cast<guint32>(text.size()),
                                      most, &window, &ranges, &count),
              0);
    return bracketed(text, window, ranges, count);
  }

  static std::string bracketed(const std::string& text, const ArticledbQueryRange& window,
                               const ArticledbQueryRange* ranges, guint32 count) {
    std::string result;
    guint32 at = window.begin;
    for (guint32 i = 0; i < count; ++i) {
      EXPECT_LE(at, ranges[i].begin);
      EXPECT_LT(ranges[i].begin, ranges[i].end);
      result += text.substr(at, ranges[i].begin - at) + "[" +
                text.substr(ranges[i].begin, ranges[i].end - ranges[i].begin) + "]";
      at = ranges[i].end;
    }
    EXPECT_LE(at, window.end);
    EXPECT_LE(window.end, text.size());
    return result + text.substr(at, window.end - at);
  }

  static inline const std::string ALL_WORDS =
      "etxe Etxea etxea etxeak mendi mendia mendian zuri zuria ibai manana eremu izena "
      "eremu-izenak";
  QueryStore web_;
  QueryStore plain_;
};

TEST_F(SnippetTest, MarksTheWordsOfTheTextItself) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"etxe", "[ETXEA] eta [Etxéa\u0301]: mendia"},
      {"etxe -mendi", "[etxea] mendia"},
      {"=etxea", "[etxea] etxeak"},
      {"et*", "[etxea] [eta] zuri"},
      {"manana", "[Mañana], ma nana"},
      {"\"etxe zuri\"", "etxe mendi zuri [etxe], [zuri] etxe"},
      {"\"etxe etxe zuri\"", "etxe [etxe] [etxe] [zuri] etxe etxe"},
      {"eremu-izena", "[eremu-izenak] [eremu] bat, [izena]"},
      {"izen", "eremu-[izenak]"},
      {"etxe OR mendi", "[etxea] \xff\xfe[mendia]"},
      {"=fi", "oﬁziala [ﬁ]"},
  };
  for (const auto& [query, expected] : cases) {
    std::string text = expected;
    text.erase(
        std::remove_if(text.begin(), text.end(), [](char c) { return c == '[' || c == ']'; }),
        text.end());
    EXPECT_EQ(marked(web_, query, text), expected) << query;
  }
  EXPECT_EQ(marked(plain_, "etxe", "Etxea etxea etxeak"), "Etxea [etxea] [etxeak]");
  // Places behind what is folded at a time.
  const std::string far = std::string(40000, '.') + "\u00e9 " + std::string(40000, 'n') + " ";
  EXPECT_EQ(marked(web_, "etxe", far + "etxea"), far + "[etxea]");
}

TEST_F(SnippetTest, ShowsMostWordsClosestTogether) {
  const std::string text =
      "Izenburua\netxe bat. Lehen esaldia hemen dago. mendi bat hor, eta ibai bat ere bai. "
      "Gure etxea mendian dago! Beste esaldi bat dator orain, luzea. etxe eta beste gauza "
      "batzuk gero mendi.";
  EXPECT_EQ(snippet(web_, "etxe mendi", text, 60), "Gure [etxea] [mendian] dago!");
  EXPECT_EQ(snippet(web_, "ibai", text, 45), "bat hor, eta [ibai] bat ere bai.");
  EXPECT_EQ(snippet(web_, "zuri", text, 30), "Izenburua\netxe bat.");
  EXPECT_EQ(snippet(web_, "zuri", "", 30), "");
  EXPECT_EQ(snippet(web_, "etxe", " \n etxe \n", 30), "[etxe]");
  // Nowhere to cut.
  EXPECT_EQ(snippet(web_, "zuri", "ñññññ", 5), "ññ");
}

// Of any text and room: inside of the text, not far above the room, and cut between characters.
TEST_F(SnippetTest, KeepsToItsRoomInAnyText) {
  std::mt19937 random(7);
  const Strings pieces = {"etxea",  "mendian", "zuri", " ",    ". ",           "\n",
                          "\u00f1", "bat",     "?",    "eta ", "esaldi luzea "};
  for (int i = 0; i < 2000; ++i) {
    std::string text;
    for (size_t count = random() % 60; count > 0; --count) {
      text += pieces[random() % pieces.size()];
    }
    const auto most = static_cast<guint32>(random() % 120);
    std::string shown = snippet(web_, "etxe mendi \"zuri bat\"", text, most);
    shown.erase(
        std::remove_if(shown.begin(), shown.end(), [](char c) { return c == '[' || c == ']'; }),
        shown.end());
    EXPECT_LE(shown.size(), std::max<size_t>(most, 60)) << text;
    EXPECT_NE(text.find(shown), std::string::npos);
    EXPECT_TRUE(g_utf8_validate(shown.data(), static_cast<gssize>(shown.size()), nullptr)) << text;
  }
}

}  // namespace
}  // namespace fenra_test
