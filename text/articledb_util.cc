// The exported regular-expression helper: checks of what callers hand in, around
// the operations of text/rewrite.h.
#include "text/articledb_util.h"

#include "text/pattern.h"
#include "text/rewrite.h"
#include "text/utf8.h"

namespace {

using ostren::fenra::text::Output;
using ostren::fenra::text::Pattern;
namespace text = ostren::fenra::text;

// Not null even where `bytes` is: PCRE takes no null subject.
std::string_view view(const char* bytes, int length) {
  return length == 0 ? std::string_view("") : std::string_view(bytes, static_cast<size_t>(length));
}

// Runs `rewrite(pattern, subject, output)` within the limits of this thread and
// reports the length of its result.
template <typename Rewrite>
int run(const pcre* regex, const char* subject, int subject_length, int inserted_length,
        char* output, int* capacity, Rewrite rewrite) {
  if (inserted_length < 0 || !text::is_valid_utf8(subject, subject_length)) {
    return ARTICLEDB_REGEX_FAILED;
  }
  const pcre_extra limits = text::limits_of_this_thread();
  Pattern pattern;
  pattern.code = regex;
  pattern.extra = &limits;
  Output result(output, *capacity);
  const int status = rewrite(pattern, view(subject, subject_length), result);
  if (status == ARTICLEDB_REGEX_OK) {
    *capacity = result.size();
  }
  return status;
}

}  // namespace

pcre* articledb_regex_new(const char* pattern) {
  const char* error = nullptr;
  int error_offset = 0;
  return pcre_compile(pattern, text::kCompileOptions, &error, &error_offset, nullptr);
}

void articledb_regex_free(pcre* regex) {
  if (regex != nullptr) {
    pcre_free(regex);
  }
}

int articledb_regex_extract(const pcre* regex, const char* subject, int subject_length,
                            const char* separator, int separator_length, char* output,
                            int* capacity) {
  return run(regex, subject, subject_length, separator_length, output, capacity,
             [=](const Pattern& pattern, std::string_view whole, Output& result) {
               const int status =
                   text::extract(pattern, whole, view(separator, separator_length), result);
               return status == text::kFirstSearchFailed ? ARTICLEDB_REGEX_OK : status;
             });
}

int articledb_regex_sub(const pcre* regex, const char* subject, int subject_length,
                        const char* replacement, int replacement_length, char* output,
                        int* capacity) {
  return run(regex, subject, subject_length, replacement_length, output, capacity,
             [=](const Pattern& pattern, std::string_view whole, Output& result) {
               return text::sub(pattern, whole, view(replacement, replacement_length), result);
             });
}

int articledb_regex_sub_with_function(const pcre* regex, const char* subject, int subject_length,
                                      ArticledbRegexReplacer replacer, char* output,
                                      int* capacity) {
  return run(regex, subject, subject_length, 0, output, capacity,
             [=](const Pattern& pattern, std::string_view whole, Output& result) {
               return text::sub_with_function(pattern, whole, replacer, result);
             });
}
