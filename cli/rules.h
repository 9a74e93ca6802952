// The rules of words of a store, and as options name them.
#ifndef FENRA_CLI_RULES_H
#define FENRA_CLI_RULES_H

#include <fenra/articledb.h>

#include <memory>
#include <string>

namespace cli {

// What a new store of the program gets unless it is told otherwise.
inline constexpr char kDefaultRules[] = ARTICLEDB_RULES_WEB;

// The description of an option that names rules.
inline constexpr char kRulesHelp[] = "Rules of words: web or plain";

// Throws Failure for a wrong call when there are no rules of the name.
const ArticledbRules& rules_named(const std::string& name);

// The rules of an open store. Throws Failure.
const ArticledbRules& rules_of(ArticledbDb* db);

bool is_plain(const ArticledbRules& rules);

// A tokenizer of some rules.
using Tokens = std::unique_ptr<void, void (*)(void*)>;
Tokens tokens_of(const ArticledbRules& rules, const std::string& text);

// Whether the text has a word.
bool has_word(const ArticledbRules& rules, const std::string& text);

// The form under which articles have a word: by the rules "plain", or if it is not one word, as
// it stands.
std::string form_of(const ArticledbRules& rules, const std::string& word);

}  // namespace cli

#endif  // FENRA_CLI_RULES_H
