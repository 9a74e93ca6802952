// The web's words of any bytes: tokens are folded, a word has itself for its only word, parts
// follow the word that has them, and what stands between white space has the same tokens alone.
#include <cctype>
#include <string>
#include <vector>

#include "tests/fuzz/check.h"
#include "text/articledb_util.h"
#include "text/web_fold.h"
#include "text/web_tokenizer.h"

namespace {

using namespace ostren::fenra::text;

struct Token {
  std::string bytes;
  bool is_part;
  bool operator==(const Token& other) const {
    return bytes == other.bytes && is_part == other.is_part;
  }
};
using Tokens = std::vector<Token>;

Tokens tokens_of(const std::string& text) {
  // Bytes of their own, for the sanitizer to see what is read behind them.
  const std::vector<char> copy(text.begin(), text.end());
  WebTokenizer tokenizer({copy.data(), copy.size()});
  Tokens tokens;
  const char* token = nullptr;
  int length = 0;
  int status;
  while ((status = tokenizer.next(&token, &length)) == ARTICLEDB_TOKEN_OK) {
    FUZZ_CHECK(length > 0);
    tokens.push_back({{token, static_cast<size_t>(length)}, tokenizer.is_part()});
  }
  FUZZ_CHECK(status == ARTICLEDB_TOKEN_END);
  FUZZ_CHECK(tokenizer.next(&token, &length) == ARTICLEDB_TOKEN_END);
  return tokens;
}

void check_token(const Token& token, const std::string& word) {
  std::string folded;
  FUZZ_CHECK(fold_for_web(token.bytes, 0, &folded) == token.bytes.size());
  FUZZ_CHECK(folded == token.bytes + " ");
  FUZZ_CHECK(token.bytes.find_first_of(std::string(" \0", 2)) == std::string::npos);
  const Tokens own = tokens_of(token.bytes);
  FUZZ_CHECK(!own.empty() && own[0].bytes == token.bytes && !own[0].is_part);
  for (size_t i = 1; i < own.size(); ++i) {
    FUZZ_CHECK(own[i].is_part && !token.is_part);
  }
  FUZZ_CHECK(!token.is_part || word.find(token.bytes) != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(data, data + size);
  const Tokens tokens = tokens_of(text);
  std::string word;
  for (const Token& token : tokens) {
    word = token.is_part ? word : token.bytes;
    check_token(token, word);
  }
  Tokens cut;
  for (size_t begin = 0; begin <= text.size();) {
    size_t end = begin;
    while (end < text.size() && isspace(static_cast<unsigned char>(text[end])) == 0) {
      ++end;
    }
    const Tokens some = tokens_of(text.substr(begin, end - begin));
    cut.insert(cut.end(), some.begin(), some.end());
    begin = end + 1;
  }
  FUZZ_CHECK(cut == tokens);
  return 0;
}
