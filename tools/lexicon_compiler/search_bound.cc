#include "tools/lexicon_compiler/search_bound.h"

#include <algorithm>
#include <map>
#include <vector>

#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/postorder.h"

namespace lexicon_compiler {

namespace {

// The entries open at most from the moment a search pushes an entry for `state`
// until it pops it, that entry included.
//
// The entries that it pushes lie above it: those for arcs that read nothing and
// above them those for the arcs of the next byte, each lot with the one to be
// explored first on top. An entry is explored with those below it still open and
// those above it gone. So the last arc of a lot has the fewest entries below it.
int EntriesOpen(const State& state, const std::vector<int>& entries_open) {
  const auto epsilons = std::count_if(state.arcs.begin(), state.arcs.end(),
                                      [](const Arc& arc) { return arc.lower == 0; });
  std::map<char, int> below;  // entries below the next arc, by lower label
  int most = 0;
  for (auto arc = state.arcs.rbegin(); arc != state.arcs.rend(); ++arc) {
    const int lot = arc->lower == 0 ? 0 : static_cast<int>(epsilons);
    int& count = below.try_emplace(arc->lower, lot).first->second;
    most = std::max(most, count++ + entries_open[arc->target]);
  }
  return 1 + most;
}

}  // namespace

int SearchBound(const Transducer& transducer) {
  std::vector<uint32_t> order;
  if (!PostOrder(transducer.states, &order)) {
    throw BuildError("a transducer with cycles needs a stack without bound");
  }
  std::vector<int> entries_open(transducer.states.size());
  for (const uint32_t state : order) {
    entries_open[state] = EntriesOpen(transducer.states[state], entries_open);
  }
  return entries_open[0];
}

}  // namespace lexicon_compiler
