// One input of `index`, read and converted.
#ifndef FENRA_CLI_INPUT_ARTICLE_H
#define FENRA_CLI_INPUT_ARTICLE_H

#include <cstdint>
#include <string>

#include "articles/offered_article.h"
#include "cli/input.h"
#include "cli/rules.h"

namespace cli {

using ostren::fenra::articles::Refused;

class InputArticle {
 public:
  // Reads it by the rules. Borrows both. Throws Refused, also for what is refused already.
  InputArticle(const Input& input, const ArticledbRules& rules);

  const Input& input() const { return input_; }
  const ostren::fenra::articles::OfferedArticle& offered() const { return offered_; }
  uint64_t bytes() const { return offer_.data.size(); }  // of the page

 private:
  const Input& input_;
  const std::string file_;  // its bytes; empty when they are in the input
  const ostren::fenra::articles::Offer offer_;
  const ostren::fenra::articles::OfferedArticle offered_;
};

}  // namespace cli

#endif  // FENRA_CLI_INPUT_ARTICLE_H
