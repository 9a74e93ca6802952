// Header fields as WARC and HTTP have them: "Name: value", one a line.
#ifndef FENRA_CRAWL_HEADER_FIELDS_H
#define FENRA_CRAWL_HEADER_FIELDS_H

#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::crawl {

// Without blanks and line ends around it.
std::string_view trimmed(std::string_view text);

// ASCII letters in lower case.
std::string lower(std::string_view text);

// The parts between separators, trimmed, without the empty ones.
std::vector<std::string_view> parts(std::string_view text, char separator);

// Name in lower case and value of a line; both empty when it has no colon.
struct HeaderField {
  std::string name;
  std::string_view value;
};
HeaderField header_field(std::string_view line);

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_HEADER_FIELDS_H
