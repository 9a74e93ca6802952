// The order in which the look iterator tries the arcs of a state.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_SEARCH_ORDER_H
#define FENRA_TOOLS_LEXICON_COMPILER_SEARCH_ORDER_H

#include <vector>

#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

// Arranges the arcs of a state, in which arcs of the same lower label stand in
// order of preference, so that a search of a transducer sorted on its lower
// labels tries them in that order. The result ascends by lower label.
//
// A search finds one of the arcs that read the next byte by bisection and then
// tries those in front of it from the first one on, and after them the others
// from the last one back to it; then the arcs that read nothing, from the last
// one back to the first.
std::vector<Arc> ArrangeForSearch(std::vector<Arc> arcs);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_SEARCH_ORDER_H
