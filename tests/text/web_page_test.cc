#include "text/web_page.h"

#include <gtest/gtest.h>

#include <ctime>

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

struct Case {
  const char* page;
  const char* text;
};

// What is not seen is "EZ".
constexpr Case kPages[] = {
    // Titles.
    {"<p>bat", "bat"},
    {"<title lang='eu' dir=ltr>bat</title><body>bi", "bat\nbi"},
    {"<title>\n bat\n  bi </title>", "bat bi"},
    {"<title>bat &amp; <b>bi</b></title>hiru", "bat & <b>bi</b>\nhiru"},
    {"<title>bat<body>bi<title>hiru", "bat\nbi"},
    {"<svg><title>EZ</title><desc>EZ</desc><text>bi</text></svg><title>bat</title><title>EZ</"
     "title>",
     "bat\nbi"},
    // The head.
    {"<HTML><HEAD><META NAME=a CONTENT='EZ'><STYLE>EZ</STYLE><BASE HREF=EZ></HEAD><BODY>BAT",
     "BAT"},
    {"<head><noscript>EZ<img src=EZ></noscript><meta http-equiv=refresh content='0;url=EZ'></head>"
     "<body><noscript>bat</noscript>",
     "bat"},
    // Blocks and inline elements.
    {"<h1>bat<p>bi<ul><li>hiru<li>lau</ul><dl><dt>bost<dd>sei</dl>",
     "bat\nbi\nhiru\nlau\nbost\nsei"},
    {"<table><tr><td>bat<td>bi<table><tr><th>hiru</table><tr><td>lau</table>",
     "bat\nbi\nhiru\nlau"},
    {"ba<b>t</b>, b<em>i</em><wbr>ru <i>lau</i>\t<u>bost</u><o:p>ean</o:p>",
     "bat, biru lau bostean"},
    {"bat<br>bi<br/>hiru</br>lau<hr>bost</p>sei", "bat\nbi\nhiru\nlau\nbost\nsei"},
    {"bat<img alt=EZ src=x>bi<button>hiru</button><button>lau</button><input value=EZ>bost",
     "bat bi hiru lau bost"},
    {"<section>bat</section><article>bi</article><my-card>hiru</my-card>", "bat\nbi\nhiru"},
    {"<select><option>bat<option value=EZ>bi</select><textarea>hiru <b>\nlau</textarea>",
     "bat\nbi\nhiru <b>\nlau"},
    {"<pre>bat  bi\nhiru</pre>lau\nbost", "bat bi\nhiru\nlau bost"},
    {"<div>bat<p>bi</div>hiru</p>lau</span>ak", "bat\nbi\nhiru\nlauak"},
    {"<b><i>bat</b>ean</i><p>bi<div></p>hiru</div>", "batean\nbi\nhiru"},
    // What is not shown.
    {"bat<script>var a = '</p>EZ'; if (1<2) EZ</script>bi<style>EZ</style>", "batbi"},
    {"<script><!-- document.write('<script>EZ</script>') --></script>bat", "bat"},
    {"<script/>EZ</script>bat<SCRIPT>EZ</ScRiPt >", "bat"},
    {"bat<script>EZ", "bat"},
    {"bat<template>EZ<template>EZ</template><p>EZ<script>EZ</script></template>bi", "batbi"},
    {"bat<iframe src=EZ><p>EZ</iframe>bi<noembed>EZ</noembed><noframes>EZ</noframes>", "batbi"},
    {"<div hidden>EZ<div>EZ</div><section>EZ</section></div>bat<p hidden>EZ<p>bi<p "
     "hidden=until-found>hiru",
     "bat\nbi\nhiru"},
    {"<p>bat<p STYLE='color: red; Display : none;'>EZ<p style='display:block'>bi</p>"
     "<div style=color:red><b style=display:none>EZ</b>hiru</div>",
     "bat\nbi\nhiru"},
    {"bat<span hidden>EZ<span>EZ</span></span>ean <b>bi</b><textarea hidden>EZ</textarea>",
     "batean bi"},
    {"<dialog>EZ</dialog><dialog open>bat</dialog><video>EZ</video><canvas>EZ</canvas>", "bat"},
    {"<svg><style>EZ</style><circle/><text>bat<tspan>ean</tspan></text><g title=EZ/></svg>",
     "batean"},
    {"<svg><text>bat<p>bi<li>hiru</p><math><mi>x</mi><annotation>EZ</annotation></math>",
     "bat\nbi\nhiru\nx"},
    {"<object data=EZ>bat</object><a href='EZ' title=\"EZ\">bi</a>", "bat bi"},
    // Comments and declarations.
    {"<!DOCTYPE html PUBLIC \"EZ\">bat<!-- EZ > <p>EZ</p> -- EZ -->bi", "batbi"},
    {"bat<!-->bi<!--->hiru<!-- EZ --!>lau<!EZ>bost<?php EZ ?>sei", "batbihirulaubostsei"},
    {"<!--[if IE]><p>EZ</p><![endif]-->bat<![if !IE]>bi<![endif]>", "batbi"},
    {"bat<!-- EZ <p>EZ", "bat"},
    {"bat<![CDATA[EZ]]>bi<svg><text><![CDATA[<hiru>]]></text></svg>", "batbi <hiru>"},
    // Tags as they should not be.
    {"<p class=a>b<a href=x>1>EZ</a>", "b1>EZ"},
    {"<p a='>EZ' b=\">EZ\" c=\"'\" d=/>bat<p =EZ>bi<p/EZ>hiru<p a=''b>lau", "bat\nbi\nhiru\nlau"},
    {"bat < bi <3 <> </>hiru</ EZ>lau<1>", "bat < bi <3 <> hirulau<1>"},
    {"bat<b", "bat"},
    {"bat<a href='EZ>EZ", "bat"},
    // Frames and other old things.
    {"<title>bat</title><frameset cols=*><frame src=EZ><noframes><body><p>bi</body></noframes>"
     "</frameset>",
     "bat\nbi"},
    {"<center><font size=2>bat</font></center><xmp><b>&amp;</xmp>bi<plaintext></plaintext>",
     "bat\n<b>&amp;\nbi\n</plaintext>"},
    // References.
    {"&ntilde;&Ntilde;&eacute;&nbsp;&euro;&hellip;&apos;&lt;b&gt;&amp;lt;", "ñÑé\u00A0€…'<b>&lt;"},
    {"&ntilde&copyx &ampbat &notit; &hellip &ccaron; &fflig;", "ñ©x &bat ¬it; &hellip č ﬀ"},
    {"&#241;&#xF1;&#XF1&#241a&#150;&#x80;", "ñññña–€"},
    {"&#0;&#xD800;&#x110000;&#99999999999;&#xFDD0;", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"& &; &# &#; &#x; &ez; &toolongtobeaname; &", "& &; &# &#; &#x; &ez; &toolongtobeaname; &"},
    {"a\uFFFF&#xFFFE;b", "a\uFFFD\uFFFDb"},
    {"a&#1;b\x01\x02"
     "c\u00AD",
     "a b c\u00AD"},
};

TEST(WebPage, ShowsWhatABrowserDoes) {
  for (const Case& page : kPages) {
    EXPECT_EQ(text_of(page.page), page.text) << page.page;
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
