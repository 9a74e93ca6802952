// Depth-first order of acyclic graphs.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_POSTORDER_H
#define FENRA_TOOLS_LEXICON_COMPILER_POSTORDER_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace lexicon_compiler {

// Lists the states that can be reached from state 0, each after all its targets.
// `States` is a vector of states with a vector `arcs` of arcs with a `target`.
// False when a cycle can be reached, with `order` incomplete.
template <typename States>
bool PostOrder(const States& states, std::vector<uint32_t>* order) {
  enum Mark : uint8_t { kNew, kOpen, kDone };
  std::vector<Mark> marks(states.size(), kNew);
  std::vector<std::pair<uint32_t, size_t>> path;  // open states and their next arc
  order->clear();
  if (states.empty()) {
    return true;
  }
  path.emplace_back(0, 0);
  marks[0] = kOpen;
  while (!path.empty()) {
    auto& [state, next] = path.back();
    if (next == states[state].arcs.size()) {
      marks[state] = kDone;
      order->push_back(state);
      path.pop_back();
      continue;
    }
    const uint32_t target = states[state].arcs[next++].target;
    if (marks[target] == kOpen) {
      return false;
    }
    if (marks[target] == kNew) {
      marks[target] = kOpen;
      path.emplace_back(target, 0);
    }
  }
  return true;
}

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_POSTORDER_H
