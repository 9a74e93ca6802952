#include "articles/rules.h"

#include <fenra/articledb_util.h>

#include "articles/failure.h"

namespace ostren::fenra::articles {

const ArticledbRules& rules_of(ArticledbDb* db) {
  const ArticledbRules* rules = nullptr;
  const int status = articledb_db_get_rules(db, &rules);
  if (status != 0) {
    throw Failure("cannot tell the store's rules of words: " + status_text(status), status);
  }
  return *rules;
}

bool is_plain(const ArticledbRules& rules) {
  return std::string(rules.name) == ARTICLEDB_RULES_PLAIN;
}

Tokens tokens_of(const ArticledbRules& rules, const std::string& text) {
  return {rules.tokenizer_new(text.data(), static_cast<int>(text.size())), rules.tokenizer_free};
}

void compile_patterns() {
  char text[16];
  int capacity = sizeof(text);
  articledb_html_to_txt("", 0, text, &capacity);
  for (const char* name : {ARTICLEDB_RULES_PLAIN, ARTICLEDB_RULES_WEB}) {
    has_word(*articledb_rules_by_name(name), "");
  }
}

bool has_word(const ArticledbRules& rules, const std::string& text) {
  const Tokens tokens = tokens_of(rules, text);
  const char* token = nullptr;
  int length = 0;
  return rules.next_token(tokens.get(), &token, &length) == ARTICLEDB_TOKEN_OK;
}

}  // namespace ostren::fenra::articles
