// The rewriting operations behind articledb_regex_extract, _sub and
// _sub_with_function, over patterns that may carry study data and a successor.
// They return ARTICLEDB_REGEX_ codes; their subjects are trusted to be valid
// UTF-8 of at most INT_MAX bytes.
#ifndef FENRA_TEXT_REWRITE_H
#define FENRA_TEXT_REWRITE_H

#include <cstdint>
#include <cstring>
#include <string_view>

#include "text/articledb_util.h"
#include "text/pattern.h"

namespace ostren::fenra::text {

// Further status of extract(): the first search ended in an error, and nothing
// was written.
constexpr int kFirstSearchFailed = 3;

// A buffer of fixed capacity that is never filled to its last byte. Nothing fits one of
// capacity 0, or of a negative one.
class Output {
 public:
  Output(char* data, int capacity) : data_(data), capacity_(capacity) {}

  std::string_view text() const { return {data_, static_cast<size_t>(size_)}; }
  int size() const { return size_; }
  void clear() { size_ = 0; }

  // Whether `count` more bytes fit.
  bool fits(size_t count) const { return size_ + static_cast<int64_t>(count) < capacity_; }

  // Returns false, and writes nothing, when `bytes` do not fit.
  bool append(std::string_view bytes) {
    if (!fits(bytes.size())) {
      return false;
    }
    if (!bytes.empty()) {
      memcpy(end(), bytes.data(), bytes.size());
    }
    grow(static_cast<int>(bytes.size()));
    return true;
  }

  // For bytes that others write at end(), at most room() of them.
  char* end() { return data_ + size_; }
  int room() const { return capacity_ - size_; }
  void grow(int count) { size_ += count; }

 private:
  char* data_;
  int capacity_;
  int size_ = 0;
};

// Each appends its result to `output`, whose whole capacity counts.
int extract(const Pattern& pattern, std::string_view subject, std::string_view separator,
            Output& output);
int sub(const Pattern& pattern, std::string_view subject, std::string_view replacement,
        Output& output);
int sub_with_function(const Pattern& pattern, std::string_view subject,
                      ArticledbRegexReplacer replacer, Output& output);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_REWRITE_H
