#include "text/encoding.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "text/utf8.h"
#include "text/web_markup.h"

namespace ostren::fenra::text {
namespace {

constexpr size_t kToldWithin = 1024;  // bytes at the start of a page

// Bytes of the smallest unit of an encoding.
size_t unit_of(const char* encoding) { return strncmp(encoding, "UTF-16", 6) == 0 ? 2 : 1; }

// From another encoding to UTF-8.
class Converter {
 public:
  explicit Converter(const char* encoding) : iconv_(g_iconv_open("UTF-8", encoding)) {}
  ~Converter() {
    if (is_open()) {
      g_iconv_close(iconv_);
    }
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool is_open() const { return iconv_ != reinterpret_cast<GIConv>(-1); }

  // Replaces what is invalid, `unit` bytes at a time.
  void convert(std::string_view bytes, size_t unit, std::string* text) const {
    text->clear();
    // iconv does not write to its input.
    char* rest = const_cast<char*>(bytes.data());
    size_t left = bytes.size();
    while (left > 0) {
      if (!step(&rest, &left, text) && left > 0) {
        *text += kReplacementCharacter;
        const size_t bad = std::min(unit, left);
        rest += bad;
        left -= bad;
      }
    }
    // What was kept back, as it might have been combined with more.
    step(nullptr, nullptr, text);
  }

 private:
  // Returns false when it stopped at what is invalid.
  bool step(char** rest, size_t* left, std::string* text) const {
    char buffer[8192];
    char* end = buffer;
    size_t room = sizeof buffer;
    const size_t result = g_iconv(iconv_, rest, left, &end, &room);
    const bool stopped = result == static_cast<size_t>(-1) && errno != E2BIG;
    text->append(buffer, static_cast<size_t>(end - buffer));
    return !stopped;
  }

  GIConv iconv_;
};

// What follows `name` and "=" in `text`, up to its quote or, without one, to a blank or
// ";". Empty when there is none.
std::string_view parameter(std::string_view text, std::string_view name) {
  for (size_t at = 0; at + name.size() < text.size(); ++at) {
    if (!equals_ignoring_case(text.substr(at, name.size()), name)) {
      continue;
    }
    size_t from = text.find_first_not_of(" \t\r\n\f", at + name.size());
    if (from == std::string_view::npos || text[from] != '=') {
      continue;
    }
    from = text.find_first_not_of(" \t\r\n\f", from + 1);
    if (from == std::string_view::npos) {
      return {};
    }
    const bool quoted = text[from] == '"' || text[from] == '\'';
    const size_t end =
        quoted ? text.find(text[from], from + 1) : text.find_first_of(" \t\r\n\f;", from);
    from += quoted ? 1 : 0;
    return text.substr(from, std::min(end, text.size()) - from);
  }
  return {};
}

// What a "meta" tag that begins at `at`, behind its name, tells.
const char* encoding_of_meta(std::string_view head, size_t at) {
  std::string_view charset;
  std::string_view content;
  bool is_content_type = false;
  Attribute attribute;
  while (next_attribute(head, &at, &attribute)) {
    if (equals_ignoring_case(attribute.name, "charset")) {
      charset = attribute.value;
    } else if (equals_ignoring_case(attribute.name, "content")) {
      content = parameter(attribute.value, "charset");
    } else if (equals_ignoring_case(attribute.name, "http-equiv")) {
      is_content_type = equals_ignoring_case(attribute.value, "content-type");
    }
  }
  if (at >= head.size()) {
    return nullptr;
  }
  return encoding_of_label(charset.empty() && is_content_type ? content : charset);
}

// Looks for the first "meta" tag that tells one.
const char* encoding_of_head(std::string_view head) {
  for (size_t at = 0; (at = head.find('<', at)) != std::string_view::npos;) {
    if (head.substr(at, 4) == "<!--") {
      at = comment_end(head, at + 4);
      continue;
    }
    ++at;
    if (at == head.size() || !is_ascii_letter(head[at])) {
      continue;
    }
    Tag tag;
    size_t end = 0;
    if (!read_tag(head, at, &tag, &end)) {
      return nullptr;
    }
    if (tag.name == "meta") {
      if (const char* encoding = encoding_of_meta(head, at + tag.name.size())) {
        return encoding;
      }
    }
    at = end;
  }
  return nullptr;
}

// The encoding of a page in UTF-16 without a byte-order mark: its markup is ASCII.
const char* utf16_of_markup(std::string_view head) {
  size_t zeros[2] = {0, 0};
  for (size_t i = 0; i < head.size(); ++i) {
    zeros[i % 2] += head[i] == '\0' ? 1 : 0;
  }
  const size_t characters = head.size() / 2;
  if (characters < 4 || std::min(zeros[0], zeros[1]) != 0 ||
      std::max(zeros[0], zeros[1]) < characters - characters / 4) {
    return nullptr;
  }
  return zeros[0] == 0 ? "UTF-16LE" : "UTF-16BE";
}

}  // namespace

bool to_utf8(std::string_view bytes, const char* encoding, std::string* text) {
  if (strcmp(encoding, "UTF-8") == 0) {
    *text = repaired_utf8(bytes);
    return true;
  }
  const Converter converter(encoding);
  if (!converter.is_open()) {
    return false;
  }
  converter.convert(bytes, unit_of(encoding), text);
  return true;
}

const char* take_byte_order_mark(std::string_view* bytes) {
  constexpr std::pair<std::string_view, const char*> kMarks[] = {
      {"\xEF\xBB\xBF", "UTF-8"}, {"\xFE\xFF", "UTF-16BE"}, {"\xFF\xFE", "UTF-16LE"}};
  for (const auto& [mark, encoding] : kMarks) {
    if (bytes->substr(0, mark.size()) == mark) {
      bytes->remove_prefix(mark.size());
      return encoding;
    }
  }
  return nullptr;
}

const char* encoding_of_mime_type(std::string_view mime_type) {
  const size_t parameters = std::min(mime_type.find(';'), mime_type.size());
  return encoding_of_label(parameter(mime_type.substr(parameters), "charset"));
}

const char* encoding_of_page(std::string_view bytes) {
  const std::string_view head = bytes.substr(0, kToldWithin);
  if (const char* encoding = utf16_of_markup(head)) {
    return encoding;
  }
  const char* encoding = nullptr;
  if (head.substr(0, 5) == "<?xml") {
    encoding = encoding_of_label(parameter(head.substr(0, head.find('>')), "encoding"));
  }
  if (encoding == nullptr) {
    encoding = encoding_of_head(head);
  }
  // What can be read byte by byte is not UTF-16, whatever it says.
  return encoding != nullptr && unit_of(encoding) == 2 ? "UTF-8" : encoding;
}

}  // namespace ostren::fenra::text
