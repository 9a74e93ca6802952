// The rules of words of a store.
#ifndef FENRA_ARTICLES_RULES_H
#define FENRA_ARTICLES_RULES_H

#include <fenra/articledb.h>

#include <memory>
#include <string>

namespace ostren::fenra::articles {

// The rules of an open store. Throws Failure.
const ArticledbRules& rules_of(ArticledbDb* db);

bool is_plain(const ArticledbRules& rules);

// A tokenizer of some rules.
using Tokens = std::unique_ptr<void, void (*)(void*)>;
Tokens tokens_of(const ArticledbRules& rules, const std::string& text);

// Compiles the patterns of both rules' conversions, which the first conversion in the process does
// else; to be called before several threads convert.
void compile_patterns();

// Whether the text has a word.
bool has_word(const ArticledbRules& rules, const std::string& text);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_RULES_H
