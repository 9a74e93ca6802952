// Answers in JSON. The library that writes it is known to json.cc, and to the reader of
// articles, only: it costs every file that includes it seconds of compilation.
#ifndef FENRA_CLI_JSON_H
#define FENRA_CLI_JSON_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/utf8.h"

namespace cli {

using ostren::fenra::text::TextRange;

// An object whose members stand in the order in which they are added, each name once.
//
// Texts may be any bytes: what is not UTF-8 becomes U+FFFD byte by byte, and a zero byte is
// escaped as the other control characters are. So any strict parser reads the line, and
// character_ranges() fits the text that it finds.
class JsonObject {
 public:
  JsonObject& add_text(std::string_view name, std::string_view bytes);
  JsonObject& add_texts(std::string_view name, const std::vector<std::string>& texts);
  JsonObject& add_number(std::string_view name, uint64_t number);
  // A number with a fraction; null when it is not finite.
  JsonObject& add_decimal(std::string_view name, double number);
  JsonObject& add_flag(std::string_view name, bool flag);
  JsonObject& add_null(std::string_view name);
  JsonObject& add_object(std::string_view name, const JsonObject& object);
  JsonObject& add_objects(std::string_view name, const std::vector<JsonObject>& objects);
  // An array of arrays [start,end].
  JsonObject& add_ranges(std::string_view name, const std::vector<TextRange>& ranges);

  // The object in one line, without a line feed.
  std::string line() const { return "{" + members_ + "}"; }

 private:
  JsonObject& add(std::string_view name, std::string_view value);

  std::string members_;  // as written, with commas between them
};

}  // namespace cli

#endif  // FENRA_CLI_JSON_H
