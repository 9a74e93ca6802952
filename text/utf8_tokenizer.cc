#undef NDEBUG
#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <string_view>

#include "text/articledb_util.h"
#include "text/pattern.h"
#include "text/utf8.h"

namespace {

using namespace ostren::fenra::text;

// Matches what
//   ((?:[a-z]+://)?[\w-]+\.[\w-]+(?:[\./~\w-])*)|([\w-]+)
// matches: group 1 is a run with a full stop inside, to be skipped, group 2 a
// word. Two things are added to it.
// - Repetitions do not give back: what follows each of them is not in its class.
//   The tail of group 1 is one class, since a repeated group takes stack for
//   every character.
// - A scheme is tried at the first of a run of letters only: at a later one it
//   would end, and fail, at the same place. It counts here that a caseless [a-z]
//   has U+017F and U+212A, which are not in \w: a search may pass over them.
Pattern find_word;
constexpr char kFindWord[] = R"(((?:(?<![a-z])[a-z]++://)?[\w-]++\.[\w-]++[\./~\w-]*+)|([\w-]++))";

// Results of a search for find_word.
enum { kDottedRun = 2, kWord = 3 };

bool is_letter(char c) { return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z'); }

// How many bytes before `next`, where `word` ends, the next search has to look
// back at. Behind a word of letters that ends at another letter (not an ASCII
// one, so it begins with a byte above 0x7F) a scheme has been tried already, by
// the search that found the word or by one before it. Scanning the rest of the
// letters again after each word would take quadratic time. Behind any other word
// it has not.
int bytes_to_look_back(std::string_view word, const char* next, const char* end) {
  const bool inside_letters =
      next != end && (*next & 0x80) != 0 && std::all_of(word.begin(), word.end(), is_letter);
  return inside_letters ? 1 : 0;
}

bool compile_find_word() {
  find_word = compile_builtin(kFindWord);
  assert(find_word);
  return true;
}

}  // namespace

ArticledbUtf8Tokenizer* articledb_utf8_tokenizer_new(const char* text, int length) {
  static const bool initted = compile_find_word();
  static_cast<void>(initted);
  auto* tokenizer = static_cast<ArticledbUtf8Tokenizer*>(malloc(sizeof(ArticledbUtf8Tokenizer)));
  assert(tokenizer);
  tokenizer->text = text == nullptr ? "" : text;
  tokenizer->length = length;
  tokenizer->valid = is_valid_utf8(text, length) ? 1 : 0;
  tokenizer->behind = 0;
  return tokenizer;
}

int articledb_utf8_tokenizer_next_token(void* tokenizer, const char** token, int* length) {
  auto* const rest = static_cast<ArticledbUtf8Tokenizer*>(tokenizer);
  if (rest->valid == 0) {
    return ARTICLEDB_TOKEN_ERROR;
  }
  for (;;) {
    const std::string_view subject(rest->text - rest->behind,
                                   static_cast<size_t>(rest->length) + rest->behind);
    int offsets[30];
    const int result = search(find_word, subject, rest->behind, offsets, 30);
    if (result == PCRE_ERROR_NOMATCH) {
      return ARTICLEDB_TOKEN_END;
    }
    if (result != kDottedRun && result != kWord) {
      return ARTICLEDB_TOKEN_ERROR;
    }
    const std::string_view match = subject.substr(static_cast<size_t>(offsets[0]),
                                                  static_cast<size_t>(offsets[1] - offsets[0]));
    rest->text = match.data() + match.size();
    rest->length = static_cast<int>(subject.size()) - offsets[1];
    rest->behind = 0;
    if (result == kWord) {
      rest->behind = bytes_to_look_back(match, rest->text, rest->text + rest->length);
      *token = match.data();
      *length = static_cast<int>(match.size());
      return ARTICLEDB_TOKEN_OK;
    }
  }
}

void articledb_utf8_tokenizer_free(ArticledbUtf8Tokenizer* tokenizer) { free(tokenizer); }
