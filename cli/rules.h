// The rules of words of a store, and as options name them.
#ifndef FENRA_CLI_RULES_H
#define FENRA_CLI_RULES_H

#include <fenra/articledb.h>

#include <string>

#include "articles/rules.h"

namespace cli {

// What a new store of the program gets unless it is told otherwise.
inline constexpr char kDefaultRules[] = ARTICLEDB_RULES_WEB;

// The description of an option that names rules.
inline constexpr char kRulesHelp[] = "Rules of words: web or plain";

using ostren::fenra::articles::has_word;
using ostren::fenra::articles::is_plain;
using ostren::fenra::articles::rules_of;
using ostren::fenra::articles::Tokens;
using ostren::fenra::articles::tokens_of;

// Throws Failure for a wrong call when there are no rules of the name.
const ArticledbRules& rules_named(const std::string& name);

// The form under which articles have a word: by the rules "plain", or if it is not one word, as
// it stands.
std::string form_of(const ArticledbRules& rules, const std::string& word);

}  // namespace cli

#endif  // FENRA_CLI_RULES_H
