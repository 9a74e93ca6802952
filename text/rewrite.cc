#include "text/rewrite.h"

#include <algorithm>

namespace ostren::fenra::text {
namespace {

// The searches over one subject, each of which goes on from where the one before
// it ended.
class Matches {
 public:
  Matches(const Pattern& pattern, std::string_view subject)
      : pattern_(&pattern), subject_(subject) {}

  // Searches from the current position; see search() for the result.
  int find() {
    int result = search(*pattern_, subject_, position_, offsets_, ARTICLEDB_REGEX_OFFSETS);
    while (result == PCRE_ERROR_NOMATCH && pattern_->successor != nullptr) {
      pattern_ = pattern_->successor;
      result = search(*pattern_, subject_, position_, offsets_, ARTICLEDB_REGEX_OFFSETS);
    }
    return result;
  }

  int* offsets() { return offsets_; }
  int begin(size_t group) const { return offsets_[2 * group]; }
  int end(size_t group) const { return offsets_[2 * group + 1]; }
  bool is_set(size_t group) const { return begin(group) >= 0 && begin(group) <= end(group); }
  std::string_view text(size_t group) const { return slice(begin(group), end(group)); }

  // The subject from the current position to the match. A "\K" in a lookbehind
  // can put the start of a match before the position.
  std::string_view gap() const { return slice(position_, std::max(position_, begin(0))); }
  // The subject from the current position on.
  std::string_view rest() const { return subject_.substr(static_cast<size_t>(position_)); }

  // Moves the position to `next`. Returns false when that is not forward, which a
  // "\K" in a lookahead can bring about.
  bool advance(int next) {
    const bool forward = next > position_;
    position_ = next;
    return forward;
  }
  int position() const { return position_; }

 private:
  std::string_view slice(int from, int to) const {
    return subject_.substr(static_cast<size_t>(from), static_cast<size_t>(to - from));
  }

  const Pattern* pattern_;
  std::string_view subject_;
  int position_ = 0;
  int offsets_[ARTICLEDB_REGEX_OFFSETS];
};

// Rewrites `subject` match by match. `write(matches)` appends what goes before
// the match and what replaces it, and returns whether it could.
template <typename Write>
int replace(const Pattern& pattern, std::string_view subject, Output& output, Write write) {
  Matches matches(pattern, subject);
  int result;
  while ((result = matches.find()) > 0) {
    const int end = matches.end(0);
    if (matches.begin(0) > end || !write(matches) || !matches.advance(end)) {
      return ARTICLEDB_REGEX_FAILED;
    }
  }
  const bool done = result == PCRE_ERROR_NOMATCH && output.append(matches.rest());
  return done ? ARTICLEDB_REGEX_OK : ARTICLEDB_REGEX_FAILED;
}

}  // namespace

int extract(const Pattern& pattern, std::string_view subject, std::string_view separator,
            Output& output) {
  Matches matches(pattern, subject);
  int result = matches.find();
  if (result <= 0) {
    return result == PCRE_ERROR_NOMATCH ? ARTICLEDB_REGEX_OK : kFirstSearchFailed;
  }
  if (result != 2) {
    return ARTICLEDB_REGEX_BAD_GROUPS;
  }
  for (bool first = true; result > 0; first = false, result = matches.find()) {
    const bool has_piece = matches.is_set(1);
    if (has_piece && !((first || output.append(separator)) && output.append(matches.text(1)))) {
      return ARTICLEDB_REGEX_FAILED;
    }
    const bool piece_advances = has_piece && matches.end(1) > matches.position();
    if (!matches.advance(matches.end(piece_advances ? 1 : 0))) {
      return ARTICLEDB_REGEX_FAILED;
    }
  }
  return result == PCRE_ERROR_NOMATCH ? ARTICLEDB_REGEX_OK : ARTICLEDB_REGEX_FAILED;
}

int sub(const Pattern& pattern, std::string_view subject, std::string_view replacement,
        Output& output) {
  return replace(pattern, subject, output, [&](const Matches& matches) {
    const std::string_view gap = matches.gap();
    return output.fits(gap.size() + replacement.size()) && output.append(gap) &&
           output.append(replacement);
  });
}

int sub_with_function(const Pattern& pattern, std::string_view subject,
                      ArticledbRegexReplacer replacer, Output& output) {
  return replace(pattern, subject, output, [&](Matches& matches) {
    if (!output.append(matches.gap())) {
      return false;
    }
    const int written =
        replacer(subject.data(), static_cast<int>(subject.size()), matches.offsets(),
                 ARTICLEDB_REGEX_OFFSETS, output.end(), output.room());
    if (written < 0 || written > output.room()) {
      return false;
    }
    output.grow(written);
    return true;
  });
}

}  // namespace ostren::fenra::text
