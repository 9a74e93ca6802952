// One input of `index`, read and converted.
#ifndef FENRA_CLI_INPUT_ARTICLE_H
#define FENRA_CLI_INPUT_ARTICLE_H

#include <cstdint>
#include <string>

#include "cli/handles.h"
#include "cli/index_inputs.h"
#include "cli/rules.h"

namespace cli {

// An input that is not stored, with the reason. The run goes on.
struct Refused {
  std::string reason;
};

class InputArticle {
 public:
  // Reads the file by the rules. Borrows both. Throws Refused.
  InputArticle(const Input& input, const ArticledbRules& rules);

  const Input& input() const { return input_; }
  const std::string& url() const { return url_; }  // as it is stored
  const char* text() const { return text_.get(); }
  GHashTable* metadata() const { return metadata_.get(); }
  // At the first of the tokens.
  void* tokenizer() const { return tokenizer_.get(); }
  uint64_t bytes() const { return bytes_; }  // of the file

 private:
  const Input& input_;
  const std::string url_;
  const Metadata metadata_;
  GlibText text_;  // outlives the tokenizer, which walks it
  Tokens tokenizer_;
  uint64_t bytes_ = 0;
};

}  // namespace cli

#endif  // FENRA_CLI_INPUT_ARTICLE_H
