// The default lexicon: the project's grammar together with the spelling dictionary.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_BASQUE_LEXICON_H
#define FENRA_TOOLS_LEXICON_COMPILER_BASQUE_LEXICON_H

#include "tools/lexicon_compiler/grammar.h"
#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

// Forms to analyses CATEGORY "/" LEMMA "+". Analyses come in the order of their
// branches, and inside a branch those with the shortest stem first. Words with
// exact results have those only. Arcs of equal lower label stand in order of
// preference. Throws BuildError when a branch is not in the grammar's order.
Transducer BuildBasqueLexicon(const Grammar& grammar);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_BASQUE_LEXICON_H
