// What is to be done with words that no list has: counted from the dictionary's names and
// from text with lemmas.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_ENDING_RULES_H
#define FENRA_TOOLS_LEXICON_COMPILER_ENDING_RULES_H

#include <map>
#include <string>
#include <vector>

#include "tools/lexicon_compiler/grammar.h"
#include "tools/lexicon_evaluation/gold.h"

namespace lexicon_compiler {

// How a form becomes its lemma: so many letters are taken off its end, and others put there.
struct EndingRule {
  size_t taken_off = 0;
  std::string put_on;
  bool operator<(const EndingRule& o) const {
    return taken_off != o.taken_off ? taken_off < o.taken_off : put_on < o.put_on;
  }
};

// The rule that makes `lemma` out of `form`.
EndingRule RuleBetween(const std::string& form, const std::string& lemma);

// For ends of words what is most probably to be done with a word that ends so and of which
// nothing longer stands here.
//
// The dictionary's names (branch IZB of the grammar) stand for the names that nobody has
// listed. Each is declined as its class says, with endings as frequent as in the names of
// `text`, which have been folded; those that do not occur there share the probability
// of what occurs once.
std::map<std::string, EndingRule> CountEndingRules(
    const Grammar& grammar, const std::vector<lexicon_evaluation::GoldForm>& text);

// The endings of the dictionary's names, behind any letter: what can follow the hyphen
// behind a foreign word.
std::vector<std::string> EndingsOfNames(const Grammar& grammar);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_ENDING_RULES_H
