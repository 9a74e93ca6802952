#include <gtest/gtest.h>

#include <optional>

#include "tests/text/support.h"

namespace {

using Text = std::optional<std::string>;
const std::string kNul(1, '\0');

// Nothing when the conversion fails. Nothing may be written behind a text, or at
// all by a failure. The default capacity is the page's size.
Text html_to_txt(const std::string& html, int capacity = -1) {
  const int given = capacity < 0 ? static_cast<int>(html.size()) : capacity;
  std::string output(static_cast<size_t>(given) + 1, '\x01');
  int size = given;
  const bool failed =
      0 != articledb_html_to_txt(html.data(), static_cast<int>(html.size()), &output[0], &size);
  EXPECT_TRUE(failed ? size == given : size < given);
  const auto written = static_cast<size_t>(failed ? 0 : size);
  EXPECT_EQ(output.find_first_not_of('\x01', written), std::string::npos);
  return failed ? Text() : output.substr(0, written);
}

// A page with `body` behind its body start tag, and something to delete.
std::string page(const std::string& body) { return "<title>T</title><body></p>" + body + "<"; }

// ---- tests ----

TEST(HtmlToTxt, Converts) {
  const std::pair<std::string, std::string> cases[] = {
      {"<html><head><title>Izenburua</title></head><body><p>Kaixo <b>mundua</b></p>"
       "<!-- oharra --></body></html>",
       "Izenburua\n\nKaixo mundua"},
      {"<html><head><title> Izen  burua </title></head><body>\n<p>Lehen   lerroa<br>bigarren"
       "</p>\r\n\r\n<script>var a=1;</script>azken\t</body>",
       "Izen burua\n\nLehen lerroa\nbigarren\nazken\n"},
      {page("a\r\n\r\nb\n \nc\n\n\nd \t e"), "T\n\na\nb\nc\n\nd e"},
      {page("<!-- <b>x</b> -->a<script>1</script>b<script>2<3</script>c"), "T\n\nab2c"},
      {"<title></title><body></p>", ""},
      {page("&#233;&#0x41;&#065;&amp;&;&\u017F;"), "T\n\n\u00E9A5&amp;&;&\u017F;"},
      {page("a&#0;b&#;c" + kNul), "T\n\na" + kNul + "b" + kNul + "c" + kNul},
      {page("&#4294967361;&#0X1F600;"), "T\n\nA\xF0\x9F\x98\x80"},
      {page("&#0x110000;"), "T\n\n\xF4\x90\x80\x80"},  // the text is not UTF-8
  };
  for (const auto& [html, text] : cases) {
    EXPECT_EQ(html_to_txt(html), Text(text)) << html;
    for (int capacity = 0; capacity < static_cast<int>(text.size()) + 2; ++capacity) {
      EXPECT_EQ(html_to_txt(html, capacity).has_value(), capacity > static_cast<int>(text.size()));
    }
  }
}

TEST(HtmlToTxt, Refuses) {
  for (const char* html : {"", "</p>", "<body></p><title>x</title>", "<title>x</title></p>",
                           "<title>x</title><body>nothing to delete</body>"}) {
    EXPECT_EQ(html_to_txt(html, 99), Text()) << html;
  }
  for (const char* reference :
       {"&#x41;", "&#65a;", "&##;", "&#0x;", "&#0b1;", "&#08;", "&#0xD800;", "&#0xDFFF;",
        "&#2147483648;", "&#4294967295;", "&#99999999999999999999;", "&#\u017F;"}) {
    EXPECT_EQ(html_to_txt(page(reference), 99), Text()) << reference;
  }
  for (const std::string& invalid : kInvalidUtf8) {
    EXPECT_EQ(html_to_txt(page(kNul + invalid + "a"), 99), Text());
    EXPECT_EQ(html_to_txt(page("a") + invalid, 99), Text());
  }
  int capacity = 0;
  EXPECT_NE(articledb_html_to_txt(nullptr, 0, nullptr, &capacity), 0);
  EXPECT_NE(articledb_html_to_txt("", -1, nullptr, &capacity), 0);
}

TEST(HtmlToTxt, FailsWhenAnySearchDoes) {
  const std::string html = page("a<br>b<p>c</p>d &amp; e<!-- f -->g");
  const int before = pcre_seam::searches;
  ASSERT_TRUE(html_to_txt(html));
  const int searches = pcre_seam::searches - before;
  ASSERT_GT(searches, 14);
  pcre_seam::failure = PCRE_ERROR_JIT_STACKLIMIT;
  for (int nth = 0; nth < searches; ++nth) {
    pcre_seam::failing_search = pcre_seam::searches + nth;
    EXPECT_EQ(html_to_txt(html), Text()) << nth;
  }
  pcre_seam::failing_search = -1;
}

// Quadratic time, or steps beyond PCRE's limit, with the plain patterns.
TEST(HtmlToTxt, TakesHostilePagesOnASmallStack) {
  const std::string head = "<title>T</title><body></p>";
  const std::string million(1000000, 'x');
  const std::pair<std::string, Text> cases[] = {
      {head + repeat("<!--", 300000), "T\n"},
      {head + repeat("<!--", 300000) + "-->a<", "T\n\na"},
      {head + repeat(">", 1000000), "T\n"},
      {repeat("<title>x</title", 80000) + "</p>", std::nullopt},
      {repeat("<title>", 150000) + "</p>", std::nullopt},
      {"<title>T</title>" + repeat("< body", 200000) + "</p>", "T\n"},
      {head + repeat("< <  <" + std::string(1000, ' '), 1000), "T\n"},
      {head + repeat("<script", 150000), "T\n"},
      {page(repeat("&#38;", 200000)), "T\n\n" + std::string(200000, '&')},
      {page("&" + million), "T\n\n&" + million},
      {page("a" + std::string(1000000, ' ') + "b"), "T\n\na b"},
      {page("<!--" + std::string(11000000, '-') + "-->a"), "T\n\na"},
      {"<title>T</title>" + repeat(million, 11) + "<body></p>", "T\n"},
  };
  on_small_stack([&] {
    for (const bool interpreter : {false, true}) {
      pcre_seam::interpreter_only = interpreter;
      for (const auto& [html, text] : cases) {
        EXPECT_TRUE(html_to_txt(html) == text) << html.substr(0, 60);
      }
    }
    pcre_seam::interpreter_only = false;
  });
}

}  // namespace
