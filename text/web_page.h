// The pages of the rules `web`: from the bytes that a server sent to the text that
// a reader sees.
#ifndef FENRA_TEXT_WEB_PAGE_H
#define FENRA_TEXT_WEB_PAGE_H

#include <string>
#include <string_view>

namespace ostren::fenra::text {

// Converts a page to UTF-8 text without zero bytes. `mime_type` is what the server
// said, with its parameters, or null. "text/plain" is text as it stands; everything
// else is read as HTML: the title, if there is one, is the first line, and what a
// reader sees of the body follows, a line a block. Returns false and sets `*reason`
// (not `*text`) for a page without visible text and for plain text in no encoding
// that can be told. Time is linear in the page, memory a small multiple of it, and
// the stack does not grow with it. Any thread may call it at any time.
bool web_page_to_text(std::string_view bytes, const char* mime_type, std::string* text,
                      std::string* reason);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_PAGE_H
