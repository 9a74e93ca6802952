// An article as a host hands it over, converted for the store.
#ifndef FENRA_ARTICLES_OFFERED_ARTICLE_H
#define FENRA_ARTICLES_OFFERED_ARTICLE_H

#include <string>
#include <string_view>

#include "articles/handles.h"
#include "articles/rules.h"

namespace ostren::fenra::articles {

// What is not stored, with the reason.
struct Refused {
  std::string reason;
};

struct Offer {
  std::string url;
  std::string_view data;
  std::string mime;
  std::string date;  // 8 digits, or empty
  std::string source;
};

class OfferedArticle {
 public:
  // Reads the data by the rules. Borrows both. Throws Refused.
  OfferedArticle(const Offer& offer, const ArticledbRules& rules);

  const std::string& url() const { return url_; }  // as it is stored
  const char* text() const { return text_.get(); }
  GHashTable* metadata() const { return metadata_.get(); }
  // At the first of the tokens.
  void* tokenizer() const { return tokenizer_.get(); }

 private:
  const std::string url_;  // as it is stored
  const Metadata metadata_;
  GlibText text_;  // outlives the tokenizer, which walks it
  Tokens tokenizer_;
};

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_OFFERED_ARTICLE_H
