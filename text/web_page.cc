#include "text/web_page.h"

#include <libxml/HTMLparser.h>

#include <climits>
#include <cstring>
#include <memory>

#include "text/utf8.h"

namespace ostren::fenra::text {
namespace {

struct Reader {
  std::string text;
  int hidden = 0;
};

bool is_hidden(const xmlChar* name) {
  return xmlStrEqual(name, BAD_CAST "script") != 0 || xmlStrEqual(name, BAD_CAST "style") != 0 ||
         xmlStrEqual(name, BAD_CAST "template") != 0;
}

void start_element(void* context, const xmlChar* name, const xmlChar** /*attributes*/) {
  auto* reader = static_cast<Reader*>(context);
  reader->hidden += is_hidden(name) ? 1 : 0;
  const htmlElemDesc* element = htmlTagLookup(name);
  if (element != nullptr && element->isinline == 0 && !reader->text.empty()) {
    reader->text += '\n';
  }
}

void end_element(void* context, const xmlChar* name) {
  auto* reader = static_cast<Reader*>(context);
  reader->hidden -= is_hidden(name) ? 1 : 0;
  const htmlElemDesc* element = htmlTagLookup(name);
  if (element != nullptr && element->isinline == 0 && !reader->text.empty()) {
    reader->text += '\n';
  }
}

void characters(void* context, const xmlChar* bytes, int length) {
  auto* reader = static_cast<Reader*>(context);
  if (reader->hidden == 0) {
    reader->text.append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
  }
}

}  // namespace

bool web_page_to_text(std::string_view bytes, const char* mime_type, std::string* text,
                      std::string* reason) {
  if (!is_valid_utf8(bytes) || bytes.size() > INT_MAX) {
    *reason = "not UTF-8";
    return false;
  }
  if (mime_type != nullptr && strncmp(mime_type, "text/plain", 10) == 0) {
    text->assign(bytes);
    return true;
  }
  Reader reader;
  const std::unique_ptr<htmlParserCtxt, decltype(&htmlFreeParserCtxt)> parser(
      htmlCreateMemoryParserCtxt(bytes.data(), static_cast<int>(bytes.size())), htmlFreeParserCtxt);
  if (parser != nullptr) {
    htmlSAXHandler handler{};
    handler.startElement = start_element;
    handler.endElement = end_element;
    handler.characters = characters;
    *parser->sax = handler;
    parser->userData = &reader;
    htmlCtxtUseOptions(parser.get(), HTML_PARSE_RECOVER | HTML_PARSE_NOERROR |
                                         HTML_PARSE_NOWARNING | HTML_PARSE_IGNORE_ENC);
    htmlParseDocument(parser.get());
  }
  if (reader.text.find_first_not_of(" \t\r\n") == std::string::npos) {
    *reason = "the page has no visible text";
    return false;
  }
  *text = std::move(reader.text);
  return true;
}

}  // namespace ostren::fenra::text
