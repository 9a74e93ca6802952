// libxml2's HTML reader, which is one for HTML 4, behind web_simplifier.h, which gives it
// nothing that it reads otherwise than browsers or in more than linear time.
#ifndef FENRA_TEXT_WEB_READER_H
#define FENRA_TEXT_WEB_READER_H

#include <libxml/HTMLparser.h>

#include <memory>
#include <string>
#include <string_view>

#include "text/web_text.h"

namespace ostren::fenra::text {

// Takes markup piece by piece and collects the text that it shows: each element but "span"
// has lines of its own, one with an attribute is hidden. A piece ends neither within a tag
// nor within a character.
class WebReader {
 public:
  WebReader() = default;
  WebReader(const WebReader&) = delete;
  WebReader& operator=(const WebReader&) = delete;

  void feed(std::string_view markup);

  // Returns false when memory was short.
  bool finish(std::string* text);

 private:
  static void start_element(void* reader, const xmlChar* name, const xmlChar** attributes);
  static void end_element(void* reader, const xmlChar* name);
  static void characters(void* reader, const xmlChar* bytes, int length);

  void open_parser();
  void close_parser();

  std::unique_ptr<htmlParserCtxt, decltype(&htmlFreeParserCtxt)> parser_{nullptr,
                                                                         htmlFreeParserCtxt};
  WebText text_;
  int depth_ = 0;      // of the elements that the parser has opened
  int hidden_at_ = 0;  // depth of the element that hides what is in it, or 0
  bool failed_ = false;
};

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_READER_H
