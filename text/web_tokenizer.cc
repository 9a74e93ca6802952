#include "text/web_tokenizer.h"

#include <algorithm>
#include <array>

#include "text/articledb_util.h"
#include "text/web_fold.h"

namespace ostren::fenra::text {
namespace {

// Bytes of text that are folded at a time.
constexpr size_t PIECE = size_t{16} << 10;

// What a byte of folded text can be, some of it at a time.
enum : unsigned char {
  WORD = 1,         // of a letter or a digit
  DIGIT = 2,        // ASCII
  JOINER = 4,       // stands inside of words
  DIGIT_JOINER = 8  // stands inside of numbers
};

constexpr std::array<unsigned char, 256> classify() {
  std::array<unsigned char, 256> classes = {};
  for (size_t c = 0; c < classes.size(); ++c) {
    const bool is_digit = '0' <= c && c <= '9';
    const bool is_letter = ('a' <= c && c <= 'z') || c >= 0x80;
    classes[c] = static_cast<unsigned char>((is_digit ? WORD | DIGIT : 0) | (is_letter ? WORD : 0));
  }
  for (const char c : {'-', '\'', '.', '_', '@'}) {
    classes[static_cast<unsigned char>(c)] = JOINER;
  }
  for (const char c : {',', ':', '/'}) {
    classes[static_cast<unsigned char>(c)] = DIGIT_JOINER;
  }
  return classes;
}

constexpr std::array<unsigned char, 256> CLASSES = classify();

bool is(char c, unsigned char wanted) {
  return (CLASSES[static_cast<unsigned char>(c)] & wanted) != 0;
}

// Each of these stops at the blank behind the folded text at the latest.

const char* skip_to_word(const char* at, const char* end) {
  while (at != end && !is(*at, WORD)) {
    ++at;
  }
  return at;
}

const char* skip_word(const char* at) {
  while (is(*at, WORD)) {
    ++at;
  }
  return at;
}

// Whether the character at `at`, behind a letter or digit, belongs to the inside of a word.
bool joins(const char* at) {
  return is(at[0], JOINER) ? is(at[1], WORD)
                           : is(at[0], DIGIT_JOINER) && is(at[-1], DIGIT) && is(at[1], DIGIT);
}

bool is_scheme_end(const char* at) { return at[0] == ':' && at[1] == '/' && at[2] == '/'; }

// Where an address ends: behind its last letter or digit, `at` if there is none.
const char* skip_address(const char* at) {
  const char* end = at;
  for (; *at != ' ' && *at != '"' && *at != '<' && *at != '>'; ++at) {
    if (is(*at, WORD)) {
      end = at + 1;
    }
  }
  return end;
}

// The end of the word that begins at `begin`.
const char* word_end(const char* begin) {
  const char* at = skip_word(begin);
  bool has_host = false;
  while (joins(at)) {
    has_host |= *at == '.' || *at == '@';
    at = skip_word(at + 1);
  }
  return is_scheme_end(at) || (has_host && *at == '/') ? skip_address(at) : at;
}

}  // namespace

bool WebTokenizer::find_word() {
  for (;;) {
    const char* const end = folded_.data() + folded_.size();
    const char* const begin = next_ == nullptr ? end : skip_to_word(next_, end);
    if (begin != end) {
      next_ = word_end(begin);
      token_ = {begin, static_cast<size_t>(next_ - begin)};
      return true;
    }
    if (rest_.empty()) {
      next_ = end;
      return false;
    }
    folded_.clear();
    places_.clear();
    piece_ = rest_.substr(0, fold_for_web(rest_, PIECE, &folded_));
    rest_.remove_prefix(piece_.size());
    next_ = folded_.data();
  }
}

bool WebTokenizer::find_part() {
  if (part_ == nullptr) {
    return false;
  }
  const char* const begin = skip_to_word(part_, next_);
  if (begin == next_) {
    part_ = nullptr;
    return false;
  }
  part_ = skip_word(begin);
  token_ = {begin, static_cast<size_t>(part_ - begin)};
  return true;
}

int WebTokenizer::next(const char** token, int* length) {
  is_part_ = find_part();
  if (!is_part_) {
    if (!find_word()) {
      return ARTICLEDB_TOKEN_END;
    }
    const bool is_compound = skip_word(token_.data()) != next_;
    part_ = is_compound ? token_.data() : nullptr;
  }
  *token = token_.data();
  *length = static_cast<int>(token_.size());
  return ARTICLEDB_TOKEN_OK;
}

WebTokenizer::Place WebTokenizer::place() {
  if (places_.empty()) {
    places_ = web_fold_places(piece_);
  }
  const auto first = places_.begin() + (token_.data() - folded_.data());
  const auto behind = first + static_cast<std::ptrdiff_t>(token_.size());
  // A character may have been folded to several, and these stand in two tokens.
  const auto next = std::find_if(behind, places_.end(),
                                 [last = behind[-1]](guint32 place) { return place != last; });
  const size_t start = static_cast<size_t>(piece_.data() - text_.data());
  return {start + *first, start + (next == places_.end() ? piece_.size() : *next)};
}

}  // namespace ostren::fenra::text
