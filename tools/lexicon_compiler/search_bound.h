// How much of the look iterator's fixed stack a transducer can need.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_SEARCH_BOUND_H
#define FENRA_TOOLS_LEXICON_COMPILER_SEARCH_BOUND_H

#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

// The largest number of entries on the stack at once, over upward searches of all
// words, when the arcs of every state are arranged for the search. Exact: some
// word reaches it. Throws BuildError when the transducer has a cycle.
int SearchBound(const Transducer& transducer);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_SEARCH_BOUND_H
