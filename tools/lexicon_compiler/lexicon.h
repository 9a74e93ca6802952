// The whole lexicon as one transducer.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_LEXICON_H
#define FENRA_TOOLS_LEXICON_COMPILER_LEXICON_H

#include "tools/lexicon_compiler/transducer.h"
#include "tools/lexicon_compiler/vocabulary.h"

namespace lexicon_compiler {

// Forms to analyses CATEGORY "/" LEMMA "+", with better kinds of analysis first.
// A few of the most frequent auxiliary forms, whose analyses are fixed, have
// exactly those. Arcs of equal lower label stand in order of preference.
Transducer BuildLexicon(const Vocabulary& vocabulary);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_LEXICON_H
