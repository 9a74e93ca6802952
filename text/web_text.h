// The text that a page shows, while it is put together.
#ifndef FENRA_TEXT_WEB_TEXT_H
#define FENRA_TEXT_WEB_TEXT_H

#include <string>
#include <string_view>

namespace ostren::fenra::text {

// Characters that stand for others on the way through the parser. They are none of
// Unicode's and do not come up as themselves.
constexpr std::string_view kLessThan = "\xEF\xB7\x90";   // U+FDD0
constexpr std::string_view kAmpersand = "\xEF\xB7\x91";  // U+FDD1
constexpr std::string_view kLineEnd = "\xEF\xB7\x92";    // U+FDD2

// Collects text with its stand-ins replaced and runs of blanks and line ends as one of
// them, none at either end.
class WebText {
 public:
  // `text` holds whole characters.
  void add(std::string_view text);
  void end_line() { gap_ = '\n'; }

  std::string& text() { return text_; }

 private:
  void add_visible(std::string_view text);

  std::string text_;
  char gap_ = '\0';  // what comes before the next visible character
};

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_TEXT_H
