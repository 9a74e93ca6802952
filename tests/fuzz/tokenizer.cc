// The tokenizer over any bytes: machine code, interpreter and the plain pattern
// agree; tokens lie in the text, one behind the other, and hold nothing but what
// words are made of.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tests/fuzz/check.h"
#include "tests/fuzz/guarded.h"
#include "tests/text/reference.h"
#include "tests/text/support.h"
#include "text/articledb_util.h"

namespace {

using fenra_fuzz::Guarded;

// The plain pattern takes quadratic time, and stack for every byte.
constexpr size_t kMostForReference = 2000;

bool is_word_byte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-';
}

std::vector<std::string> tokens_of(const char* text, size_t size, bool valid) {
  const std::unique_ptr<ArticledbUtf8Tokenizer, decltype(&articledb_utf8_tokenizer_free)> tokenizer(
      articledb_utf8_tokenizer_new(text, static_cast<int>(size)), articledb_utf8_tokenizer_free);
  std::vector<std::string> tokens;
  const char* token = nullptr;
  int length = 0;
  const char* last_end = text;
  int status;
  while ((status = articledb_utf8_tokenizer_next_token(tokenizer.get(), &token, &length)) ==
         ARTICLEDB_TOKEN_OK) {
    FUZZ_CHECK(token >= last_end && length > 0 && length <= text + size - token);
    FUZZ_CHECK(std::all_of(token, token + length, is_word_byte));
    last_end = token + length;
    FUZZ_CHECK(tokenizer->text == last_end && tokenizer->length == text + size - last_end);
    tokens.emplace_back(token, static_cast<size_t>(length));
  }
  FUZZ_CHECK(status == (valid ? ARTICLEDB_TOKEN_END : ARTICLEDB_TOKEN_ERROR));
  FUZZ_CHECK(valid || tokens.empty());
  FUZZ_CHECK(articledb_utf8_tokenizer_next_token(tokenizer.get(), &token, &length) == status);
  return tokens;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(data, data + size);
  const bool valid = text_reference::is_valid_utf8(text);
  pcre_seam::interpreter_only = false;
  const Guarded behind(data, size, Guarded::kGuardBehind);
  const std::vector<std::string> tokens = tokens_of(behind.data(), size, valid);
  pcre_seam::interpreter_only = true;
  const Guarded before(data, size, Guarded::kGuardBefore);
  FUZZ_CHECK(tokens_of(before.data(), size, valid) == tokens);
  if (valid && size <= kMostForReference) {
    FUZZ_CHECK(text_reference::reference_tokens_of(text) == tokens);
  }
  return 0;
}
