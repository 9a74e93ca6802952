// From a page as browsers read it to markup that an HTML 4 reader reads alike.
//
// libxml2's reader knows neither the elements, comments, references nor the raw text of
// today's HTML, and takes quadratic time over the attributes of a tag. So comments, raw
// text and templates are left out here, references become characters, tags carry no
// attribute but "hidden" and names of HTML 4 only, and tags that change nothing are left
// out.
#ifndef FENRA_TEXT_WEB_SIMPLIFIER_H
#define FENRA_TEXT_WEB_SIMPLIFIER_H

#include <string>
#include <string_view>

#include "text/web_elements.h"
#include "text/web_markup.h"
#include "text/web_reader.h"
#include "text/web_text.h"

namespace ostren::fenra::text {

class WebSimplifier {
 public:
  // `html` is valid UTF-8. `is_xml`: empty elements and CDATA sections count everywhere.
  WebSimplifier(std::string_view html, bool is_xml, WebReader* reader)
      : html_(html), is_xml_(is_xml), reader_(reader) {}

  // Hands the simplified page to the reader.
  void run();

  // The text of the page's first title; empty when it has none.
  const std::string& title() { return title_.text(); }

 private:
  void read_markup();
  void read_declaration();
  void read_cdata();
  void start_tag(const Tag& tag);
  void end_tag(const Tag& tag);
  void start_element(const Tag& tag, Element element);
  void start_foreign(const Tag& tag);
  size_t raw_content_end(const Tag& tag, Element element);
  void raw_element(const Tag& tag, Element element);
  void inline_tag(std::string_view tag);

  void read_text(size_t end, bool has_references);
  void add_character(std::string_view character);
  void add_run(std::string_view run);
  void add(std::string_view markup);
  void hand_on();

  const std::string_view html_;
  const bool is_xml_;
  WebReader* const reader_;
  size_t at_ = 0;
  std::string out_;      // not handed on yet
  std::string scratch_;  // the characters of a reference
  WebText title_;
  bool has_title_ = false;
  WebText* title_target_ = nullptr;  // where text goes within a title
  bool is_title_open_ = false;       // no title from here on has an end tag
  bool in_head_ = true;
  bool has_frames_ = false;
  bool passes_inline_ = false;  // hands inline tags on, since one of them was hidden
  int templates_ = 0;           // open ones
  int foreign_ = 0;             // open "svg" and "math"
  int preformatted_ = 0;        // open "pre" and the like
};

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_SIMPLIFIER_H
