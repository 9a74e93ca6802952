#include "tools/lexicon_check/search_cost.h"

#include <algorithm>
#include <vector>

#include "fst/cells.h"
#include "tools/lexicon_compiler/postorder.h"

namespace lexicon_check {

namespace {

using fenra_fst::cell_count;
using fenra_fst::target_of;

struct Arc {
  Char lower;
  NodeIndex target;
};
struct State {
  std::vector<Arc> arcs;
};

std::string AtCell(NodeIndex cell) { return " (cell " + std::to_string(cell) + ")"; }

// Reads the states that can be reached from the start; states[i] is the one whose
// head is cell i.
std::string ReadStates(const LkFst& fst, std::vector<State>* states) {
  const NodeIndex cells = cell_count(&fst);
  if (cells == 0) {
    return "there are no states";
  }
  if ((fst.flags & LK_FST_SORTED_LOWER) == 0) {
    return "the arcs are not sorted on their lower labels";
  }
  states->assign(cells, State());
  std::vector<bool> seen(cells);
  std::vector<NodeIndex> open{0};
  seen[0] = true;
  while (!open.empty()) {
    const NodeIndex head = open.back();
    open.pop_back();
    const EdgeCount count = fst.data[head].edge_count;
    if (count > cells - head) {
      return "the arcs of a state run out of the cells" + AtCell(head);
    }
    for (NodeIndex cell = head; cell < head + count; ++cell) {
      const Edge& edge = fst.data[cell];
      const NodeIndex target = target_of(&edge);
      if (target >= cells) {
        return "an arc leads out of the cells" + AtCell(cell);
      }
      if ((fst.data[target].bits & EDGE_IS_NODE) == 0) {
        return "an arc does not lead to a state" + AtCell(cell);
      }
      if (cell > head && fst.data[cell - 1].lower > edge.lower) {
        return "arcs that are said to be sorted are not" + AtCell(cell);
      }
      (*states)[head].arcs.push_back({edge.lower, target});
      if (!seen[target]) {
        seen[target] = true;
        open.push_back(target);
      }
    }
  }
  return "";
}

// The entries that the engine pushes for a state and the next byte of the word,
// from the lowest one up.
class Pushes {
 public:
  explicit Pushes(LkFst* fst) : fst_(fst) {}

  std::vector<NodeIndex> Targets(NodeIndex head, Char byte) {
    const char word[] = {static_cast<char>(byte), '\0'};
    lk_look_iterator_init(&iterator_, fst_, word, LK_LOOK_UP);
    iterator_.push_transitions(&iterator_, look_stack_head(&iterator_), fst_, &fst_->data[head]);
    std::vector<NodeIndex> targets;
    for (int32_t i = 1; i < iterator_.top; ++i) {
      targets.push_back(static_cast<NodeIndex>(iterator_.data[i].node - fst_->data));
    }
    return targets;
  }

 private:
  LkFst* fst_;
  LkLookIterator iterator_;
};

// The bytes that tell the arcs of a state apart; 0, which reads no arc, among
// them.
std::vector<Char> BytesOf(const State& state) {
  std::vector<Char> bytes{0};
  for (const Arc& arc : state.arcs) {
    if (bytes.back() != arc.lower) {
      bytes.push_back(arc.lower);
    }
  }
  return bytes;
}

}  // namespace

std::string MeasureSearchCost(LkFst* fst, SearchCost* cost) {
  std::vector<State> states;
  std::string fault = ReadStates(*fst, &states);
  if (!fault.empty()) {
    return fault;
  }
  std::vector<uint32_t> order;
  if (!lexicon_compiler::PostOrder(states, &order)) {
    return "there is a cycle of arcs, so no stack is deep enough for every word";
  }
  std::vector<SearchCost> costs(states.size());
  Pushes pushes(fst);
  for (const uint32_t head : order) {
    // The engine itself ends the process when one state fills its stack.
    if (states[head].arcs.size() >= LK_LOOK_STACK_SIZE) {
      return "a state has " + std::to_string(states[head].arcs.size()) + " arcs" + AtCell(head);
    }
    for (const Char byte : BytesOf(states[head])) {
      // An entry is explored when those above it are gone; those below are not.
      int below = 0;
      double expansions = 0;
      for (const NodeIndex target : pushes.Targets(head, byte)) {
        costs[head].open_entries =
            std::max(costs[head].open_entries, below++ + costs[target].open_entries);
        expansions += costs[target].expansions;
      }
      costs[head].expansions = std::max(costs[head].expansions, expansions);
    }
    ++costs[head].open_entries;
    ++costs[head].expansions;
  }
  *cost = costs[0];
  return "";
}

}  // namespace lexicon_check
