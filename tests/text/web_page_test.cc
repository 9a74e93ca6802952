#include "text/web_page.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <ctime>
#include <fstream>

#include "tests/text/support.h"

namespace {

using ostren::fenra::text::web_page_to_text;

// The text, or "refused: " and why.
std::string text_of(std::string_view page, const char* mime_type = "text/html") {
  std::string text = "untouched";
  std::string reason;
  if (web_page_to_text(page, mime_type, &text, &reason)) {
    return text;
  }
  EXPECT_EQ(text, "untouched");
  return "refused: " + reason;
}

TEST(WebPage, ShowsWhatABrowserDoes) {
  std::ifstream file(FENRA_TEST_DATA "/web_pages.txt");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (line[0] != '#') {
      char* const bytes = g_strcompress(line.c_str());
      lines.emplace_back(bytes);
      g_free(bytes);
    }
  }
  ASSERT_GE(lines.size(), 100U);
  for (size_t i = 0; i < lines.size(); i += 2) {
    EXPECT_EQ(text_of(lines[i]), lines.at(i + 1)) << lines[i];
  }
}

TEST(WebPage, ReadsXhtml) {
  const char* const page =
      "<html><head><title/><script/></head><body><p/>bat<div hidden=''/>bi<textarea/>"
      "<![CDATA[<hiru> &amp;]]><template/>lau</body></html>";
  const char* const text = "bat\nbi<hiru> &amp;lau";
  EXPECT_EQ(text_of(page, "application/xhtml+xml"), text);
  EXPECT_EQ(text_of(std::string("<?xml version='1.0'?>") + page), text);
}

TEST(WebPage, RefusesWhatHasNoText) {
  for (const char* page : {"", "<p>&nbsp;\u200B</p>", "<title> </title>", "<script>EZ</script>",
                           "<img alt=EZ>", "\xEF\xBB\xBF"}) {
    EXPECT_EQ(text_of(page), "refused: nothing in it is visible text") << page;
  }
}

std::string utf16(std::string_view ascii, bool big) {
  std::string text;
  for (const char c : ascii) {
    text += {big ? '\0' : c, big ? c : '\0'};
  }
  return text;
}

TEST(WebPage, TellsTheEncoding) {
  const auto meta = [](const std::string& label) { return "<meta charset=" + label + "><p>"; };
  const char* const html = "text/html";
  const struct {
    std::string page;
    const char* mime_type;
    const char* text;
  } cases[] = {
      {"ma\u00F1ana", html, "mañana"},
      {"ma\xF1"
       "ana \x80\x81",
       nullptr, "mañana €\uFFFD"},
      {"a\xF1", "text/html; charset=ISO-8859-1", "añ"},
      {"\x93\xF1", "TEXT/HTML;x=1; Charset = \"latin1\"", "“ñ"},
      {"\xF1", "text/html; charset=ez", "ñ"},
      {meta("us-ascii") + "\x96", html, "–"},
      {meta("'iso-8859-15'") + "\xA4", html, "€"},
      {meta("koi8-r") + "\xC4\xC1", html, "да"},
      {meta("windows-1258") + "a\xCC", html, "\u00E0"},
      {meta("Shift_JIS") + "\x93\xFA", html, "日"},
      {meta("gb2312") + "\xC8\xD5\xFF", html, "日\uFFFD"},
      {"<META content='text/html; charset=latin2' http-equiv=Content-Type><p>\xB3", html, "ł"},
      {"<!-- <meta charset=koi8-r> --><a b='<meta charset=koi8-r>'>\xF1", html, "ñ"},
      {"<meta content='text/html; charset=koi8-r'><meta charset=ez>" + meta("latin2") + "\xB3",
       html, "ł"},
      {std::string(1024, ' ') + meta("koi8-r") + "\xF1", html, "ñ"},
      {"<?xml version='1.0' encoding='iso-8859-2'?><p>\xB3</p>", html, "ł"},
      {meta("utf-8") + "a\xF1z\xE2\x82", html, "a\uFFFDz\uFFFD\uFFFD"},
      {meta("koi8-r") + "\u00F1", "text/html; charset=utf-8", "ñ"},
      {"\xEF\xBB\xBF" + meta("koi8-r") + "\u00F1", "text/html; charset=latin1", "ñ"},
      {meta("utf-16") + "\u00F1", html, "ñ"},
      {"\xFF\xFE" + utf16("<p>bat", false) + std::string("\x00\xD8z\0", 4), html, "bat\uFFFDz"},
      {"\xFE\xFF" + utf16(meta("koi8-r") + "bat", true), html, "bat"},
      {utf16("<p>bat bi", false), html, "bat bi"},
      {utf16("<p>bat bi", true), html, "bat bi"},
      {utf16("bat", true), "text/html; charset=utf-16be", "bat"},
      {"bat\r\n <b>\u00F1", "text/plain", "bat\r\n <b>ñ"},
      {std::string("a\0b", 3), "Text/Plain ; charset=utf-8", "a b"},
      {std::string("a\0b", 3), html, "a b"},
      {"\xF1", "text/plain; charset=latin1", "ñ"},
      {"\xFF\xFE" + utf16("bat", false), "text/plain", "bat"},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(text_of(one.page, one.mime_type), one.text) << one.page;
  }
  EXPECT_EQ(text_of(std::string("a\0\xC3\xB1\xF1", 5), "text/plain").substr(0, 39),
            "refused: byte 4 (0xF1) is not UTF-8; na");
}

// Quadratic time, or a deep stack, for the parser alone.
TEST(WebPage, TakesHostilePagesInLinearTimeOnASmallStack) {
  const int count = 100000;
  std::string attributes = "<a";
  for (int i = 0; i < count; ++i) {
    attributes += " a" + std::to_string(i);
  }
  const std::string pages[] = {
      attributes + ">",
      repeat("<div>", count) + repeat("</table>", count),
      repeat("<b hidden>", count) + repeat("</p>", count),
      repeat("<table><tr><td>", count),
      repeat("<title>", count),
      repeat("<!--", count),
      repeat("<script><!--<script>", count),
      repeat("<svg><title>", count),
      repeat("&nosuchn", count),
      repeat("e\u0301", count),
      std::string(10 * count, '<'),
      std::string(10 * count, '&'),
      std::string(10 * count, '\0'),
      repeat("\uFFFF", count),
      "\xFF\xFE" + repeat("\xDC\xD8", count),
  };
  on_small_stack([&] {
    for (const std::string& page : pages) {
      const clock_t before = clock();
      text_of(page);
      EXPECT_LT(static_cast<double>(clock() - before) / CLOCKS_PER_SEC, 5) << page.substr(0, 20);
    }
  });
}

}  // namespace
