#include "cli/rules.h"

#include "cli/failure.h"
#include "cli/store.h"

namespace cli {

const ArticledbRules& rules_named(const std::string& name) {
  const ArticledbRules* const rules = articledb_rules_by_name(name.c_str());
  if (rules == nullptr) {
    throw Failure("--rules: there are no rules '" + name + "'; web and plain are known",
                  kWrongCall);
  }
  return *rules;
}

const ArticledbRules& rules_of(ArticledbDb* db) {
  const ArticledbRules* rules = nullptr;
  const int status = articledb_db_get_rules(db, &rules);
  if (status != 0) {
    throw Failure("cannot tell the store's rules of words: " + status_text(status));
  }
  return *rules;
}

bool is_plain(const ArticledbRules& rules) {
  return std::string(rules.name) == ARTICLEDB_RULES_PLAIN;
}

Tokens tokens_of(const ArticledbRules& rules, const std::string& text) {
  return {rules.tokenizer_new(text.data(), static_cast<int>(text.size())), rules.tokenizer_free};
}

bool has_word(const ArticledbRules& rules, const std::string& text) {
  const Tokens tokens = tokens_of(rules, text);
  const char* token = nullptr;
  int length = 0;
  return rules.next_token(tokens.get(), &token, &length) == ARTICLEDB_TOKEN_OK;
}

std::string form_of(const ArticledbRules& rules, const std::string& word) {
  std::string form;
  const Tokens tokens = tokens_of(rules, word);
  const char* token = nullptr;
  int length = 0;
  while (!is_plain(rules) &&
         rules.next_token(tokens.get(), &token, &length) == ARTICLEDB_TOKEN_OK) {
    if (rules.is_part(tokens.get()) == 0) {
      if (!form.empty()) {
        return word;
      }
      form.assign(token, static_cast<size_t>(length));
    }
  }
  return form.empty() ? word : form;
}

}  // namespace cli
