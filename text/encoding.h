// The encodings of texts from the web.
#ifndef FENRA_TEXT_ENCODING_H
#define FENRA_TEXT_ENCODING_H

#include <string>
#include <string_view>

namespace ostren::fenra::text {

// What GLib calls the encoding that browsers read under this label, in any case and with
// blanks around it: "ISO-8859-1" is windows-1252 to them. Null for an unknown label.
const char* encoding_of_label(std::string_view label);

// Converts `bytes`, whose encoding is one of those names, to UTF-8. What is invalid becomes
// U+FFFD. Returns false when GLib does not know the encoding here.
bool to_utf8(std::string_view bytes, const char* encoding, std::string* text);

// The encoding that a byte-order mark at the start tells, or null; the mark is taken off.
const char* take_byte_order_mark(std::string_view* bytes);

// The encoding that a MIME type's parameter "charset" tells, or null.
const char* encoding_of_mime_type(std::string_view mime_type);

// The encoding that the first 1,024 bytes of a page tell, in a "meta" tag, an XML
// declaration or, as UTF-16, by every other byte of markup being zero; or null.
const char* encoding_of_page(std::string_view bytes);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_ENCODING_H
