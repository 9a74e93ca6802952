#include "cli/rules.h"

#include "cli/failure.h"

namespace cli {

const ArticledbRules& rules_named(const std::string& name) {
  const ArticledbRules* const rules = articledb_rules_by_name(name.c_str());
  if (rules == nullptr) {
    throw Failure("--rules: there are no rules '" + name + "'; web and plain are known",
                  kWrongCall);
  }
  return *rules;
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
