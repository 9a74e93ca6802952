// From the source's sections to the words of the lexicon: one transducer for each
// kind of analysis.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_VOCABULARY_H
#define FENRA_TOOLS_LEXICON_COMPILER_VOCABULARY_H

#include <map>
#include <set>
#include <string>
#include <utility>

#include "tools/lexicon_compiler/categories.h"
#include "tools/lexicon_compiler/source_lexicon.h"
#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

// Ends the lemma in an output.
inline constexpr char kLemmaEnd = '+';

struct Vocabulary {
  // Forms to lemmas with kLemmaEnd behind them, by kind of analysis, likeliest
  // first. Not deterministic, with arcs of two epsilons.
  std::map<std::pair<Rank, Category>, Transducer> branches;
  std::set<std::string> lemmas;
  std::set<std::string> unknown_tags;  // their words were left out
};

// The words of all sections without cycles; the others describe numbers and
// addresses. Words whose lemma has a blank, a capital or a letter outside ASCII
// are left out.
//
// Outputs ride on the letters: letter i of the form writes letter i of the output
// as long as there is one, and what is left of the output then follows on arcs
// that read nothing. So the forms that are their own lemma are those that a path
// copies.
Vocabulary ExtractVocabulary(std::vector<SourceSection> sections);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_VOCABULARY_H
