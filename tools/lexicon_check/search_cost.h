// What searches of a finished transducer can cost.
#ifndef FENRA_TOOLS_LEXICON_CHECK_SEARCH_COST_H
#define FENRA_TOOLS_LEXICON_CHECK_SEARCH_COST_H

#include <string>

#include "fst/ostrenfst.h"

namespace lexicon_check {

// Over upward searches of all words.
struct SearchCost {
  // The most entries on the stack at once. Exact: some word reaches it.
  int open_entries = 0;
  // Not less than the states that a search expands until it has no more results.
  double expansions = 0;
};

// Computes the cost from what the engine pushes for each state and byte. Returns an
// empty string, or why the transducer has no bound or is no transducer to embed:
// it has a cycle, leads outside its cells, or its arcs are not sorted on their
// lower labels.
std::string MeasureSearchCost(LkFst* fst, SearchCost* cost);

}  // namespace lexicon_check

#endif  // FENRA_TOOLS_LEXICON_CHECK_SEARCH_COST_H
