#include "text/web_page.h"

#include <glib.h>

#include <algorithm>

#include "text/encoding.h"
#include "text/utf8.h"
#include "text/web_markup.h"
#include "text/web_reader.h"
#include "text/web_simplifier.h"

namespace ostren::fenra::text {
namespace {

// The type itself, without parameters and blanks around it.
std::string_view essence(std::string_view mime_type) {
  mime_type = mime_type.substr(0, mime_type.find(';'));
  const size_t from = std::min(mime_type.find_first_not_of(" \t\r\n"), mime_type.size());
  const size_t end = mime_type.find_last_not_of(" \t\r\n") + 1;
  return mime_type.substr(from, end - std::min(end, from));
}

bool is_visible(const std::string& text) {
  for (const char* at = text.data(); at < text.data() + text.size(); at = g_utf8_next_char(at)) {
    if (g_unichar_isgraph(g_utf8_get_char(at))) {
      return true;
    }
  }
  return false;
}

// Returns false when the text is in an encoding that is told, but unknown here, or when
// none is told.
bool decode_as_told(std::string_view bytes, std::string_view mime_type, bool is_page,
                    std::string* text) {
  const char* encoding = take_byte_order_mark(&bytes);
  if (encoding == nullptr) {
    encoding = encoding_of_mime_type(mime_type);
  }
  if (encoding == nullptr && is_page) {
    encoding = encoding_of_page(bytes);
  }
  return encoding != nullptr && to_utf8(bytes, encoding, text);
}

bool decode(std::string_view bytes, std::string_view mime_type, bool is_page, std::string* text,
            std::string* reason) {
  if (decode_as_told(bytes, mime_type, is_page, text)) {
    return true;
  }
  const size_t invalid = first_invalid_utf8(bytes);
  if (invalid == bytes.size()) {
    text->assign(bytes);
    return true;
  }
  if (is_page) {
    return to_utf8(bytes, "CP1252", text) || to_utf8(bytes, "UTF-8", text);
  }
  char which[64];
  g_snprintf(which, sizeof which, "byte %zu (0x%02X)", invalid,
             static_cast<unsigned char>(bytes[invalid]));
  *reason = std::string(which) +
            " is not UTF-8; name the text's encoding in the MIME type, as text/plain; "
            "charset=windows-1252";
  return false;
}

bool page_to_text(std::string_view html, bool is_xml, std::string* text) {
  WebReader reader;
  WebSimplifier simplifier(html, is_xml || html.substr(0, 5) == "<?xml", &reader);
  simplifier.run();
  std::string body;
  if (!reader.finish(&body)) {
    return false;
  }
  *text = simplifier.title();
  if (!text->empty() && !body.empty()) {
    *text += '\n';
  }
  *text += body;
  return true;
}

}  // namespace

bool web_page_to_text(std::string_view bytes, const char* mime_type, std::string* text,
                      std::string* reason) {
  const std::string_view type = mime_type == nullptr ? "" : mime_type;
  const bool is_page = !equals_ignoring_case(essence(type), "text/plain");
  std::string decoded;
  if (!decode(bytes, type, is_page, &decoded, reason)) {
    return false;
  }
  std::string result;
  if (is_page) {
    const bool is_xml = equals_ignoring_case(essence(type), "application/xhtml+xml");
    if (!page_to_text(decoded, is_xml, &result)) {
      *reason = "memory is short";
      return false;
    }
  } else {
    std::replace(decoded.begin(), decoded.end(), '\0', ' ');
    result = std::move(decoded);
  }
  if (!is_visible(result)) {
    *reason = "nothing in it is visible text";
    return false;
  }
  *text = std::move(result);
  return true;
}

}  // namespace ostren::fenra::text
