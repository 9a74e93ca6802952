#include "text/web_reader.h"

namespace ostren::fenra::text {
namespace {

// The parser looks through all its open elements for many a tag. Elements deeper than
// this are read as if a new page began, which only forgets what hides them.
constexpr int kDeepest = 100;

bool is_inline(const xmlChar* name) { return xmlStrEqual(name, BAD_CAST "span") != 0; }

}  // namespace

void WebReader::start_element(void* reader, const xmlChar* name, const xmlChar** attributes) {
  auto* self = static_cast<WebReader*>(reader);
  ++self->depth_;
  if (attributes != nullptr && self->hidden_at_ == 0) {
    self->hidden_at_ = self->depth_;
  }
  if (!is_inline(name)) {
    self->text_.end_line();
  }
}

void WebReader::end_element(void* reader, const xmlChar* name) {
  auto* self = static_cast<WebReader*>(reader);
  if (self->hidden_at_ == self->depth_) {
    self->hidden_at_ = 0;
  }
  --self->depth_;
  if (!is_inline(name)) {
    self->text_.end_line();
  }
}

void WebReader::characters(void* reader, const xmlChar* bytes, int length) {
  auto* self = static_cast<WebReader*>(reader);
  if (self->hidden_at_ == 0) {
    self->text_.add({reinterpret_cast<const char*>(bytes), static_cast<size_t>(length)});
  }
}

void WebReader::open_parser() {
  // Once, whatever number of threads come first.
  static const bool initialized = (xmlInitParser(), true);
  static_cast<void>(initialized);
  htmlSAXHandler handler{};
  handler.startElement = start_element;
  handler.endElement = end_element;
  handler.characters = handler.ignorableWhitespace = characters;
  depth_ = hidden_at_ = 0;
  parser_.reset(
      htmlCreatePushParserCtxt(&handler, this, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8));
  if (parser_ == nullptr) {
    failed_ = true;
    return;
  }
  htmlCtxtUseOptions(parser_.get(), HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING |
                                        HTML_PARSE_NONET | HTML_PARSE_IGNORE_ENC);
}

void WebReader::close_parser() {
  if (parser_ != nullptr) {
    htmlParseChunk(parser_.get(), "", 0, 1);
    failed_ = failed_ || parser_->errNo == XML_ERR_NO_MEMORY;
    parser_.reset();
  }
}

void WebReader::feed(std::string_view markup) {
  if (depth_ > kDeepest) {
    close_parser();
  }
  if (parser_ == nullptr && !failed_) {
    open_parser();
  }
  if (parser_ != nullptr) {
    htmlParseChunk(parser_.get(), markup.data(), static_cast<int>(markup.size()), 0);
  }
}

bool WebReader::finish(std::string* text) {
  close_parser();
  *text = std::move(text_.text());
  return !failed_;
}

}  // namespace ostren::fenra::text
