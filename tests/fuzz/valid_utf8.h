// PCRE's opinion on UTF-8, which is not the one that the library asks.
#ifndef FENRA_TESTS_FUZZ_VALID_UTF8_H
#define FENRA_TESTS_FUZZ_VALID_UTF8_H

#include <pcre.h>

#include <string>

#include "text/articledb_util.h"

namespace fenra_fuzz {

inline bool is_valid_utf8(const std::string& text) {
  static const pcre* const anything = articledb_regex_new("");
  int offsets[3];
  return pcre_exec(anything, nullptr, text.data(), static_cast<int>(text.size()), 0, 0, offsets,
                   3) >= 0;
}

}  // namespace fenra_fuzz

#endif  // FENRA_TESTS_FUZZ_VALID_UTF8_H
