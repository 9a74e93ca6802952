#include "text/web_text.h"

#include "text/web_markup.h"

namespace ostren::fenra::text {

void WebText::add_visible(std::string_view text) {
  if (gap_ != '\0' && !text_.empty()) {
    text_ += gap_;
  }
  gap_ = '\0';
  text_ += text;
}

void WebText::add(std::string_view text) {
  size_t from = 0;  // of a run without blanks and stand-ins
  const auto flush = [&](size_t end) {
    if (end > from) {
      add_visible(text.substr(from, end - from));
    }
  };
  for (size_t at = 0; at < text.size(); ++at) {
    if (is_html_space(text[at])) {
      flush(at);
      gap_ = gap_ == '\0' ? ' ' : gap_;
      from = at + 1;
    } else if (text[at] == kLineEnd[0]) {
      const std::string_view character = text.substr(at, 3);
      if (character == kLineEnd || character == kLessThan || character == kAmpersand) {
        flush(at);
        if (character == kLineEnd) {
          gap_ = '\n';
        } else {
          add_visible(character == kLessThan ? "<" : "&");
        }
        from = at + 3;
      }
      at += 2;
    }
  }
  flush(text.size());
}

}  // namespace ostren::fenra::text
