// Compiled patterns and bounded searches with them.
#ifndef FENRA_TEXT_PATTERN_H
#define FENRA_TEXT_PATTERN_H

#include <pcre.h>

#include <string_view>

namespace ostren::fenra::text {

// Every pattern is compiled caseless, with "." matching line feeds, as UTF-8.
constexpr int kCompileOptions = PCRE_CASELESS | PCRE_DOTALL | PCRE_UTF8;

// A pattern as searches use it. Owns nothing.
struct Pattern {
  const pcre* code = nullptr;
  const pcre_extra* extra = nullptr;  // study data and the limits of one search
  // Takes the search over, from the same offset, when this pattern does not match.
  const Pattern* successor = nullptr;

  explicit operator bool() const { return code != nullptr; }
};

// Compiles and studies one of the library's own patterns, with machine code
// where the PCRE build and the system allow it. `source` must be of a form that
// needs linear time and constant stack: its searches have no limit on their
// steps and a small one on their depth. Converts to false when it does not
// compile; otherwise it lives as long as the process.
Pattern compile_builtin(const char* source);

// Limits for a search with a pattern of unknown form on the calling thread: as
// deep as the C stack that is left allows, so that the search fails instead of
// overflowing it.
pcre_extra limits_of_this_thread();

// The first non-empty match in `subject` at or after `start`. `subject` is at
// most INT_MAX bytes of valid UTF-8, which is not checked. Returns what
// pcre_exec returns: one more than the number of the highest group that is set
// (0: `offsets` has too few of its `size` ints), PCRE_ERROR_NOMATCH or another
// error.
int search(const Pattern& pattern, std::string_view subject, int start, int* offsets, int size);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_PATTERN_H
