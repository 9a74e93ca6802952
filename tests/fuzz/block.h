// The rules of a transducer's block that files are not checked for.
#ifndef FENRA_TESTS_FUZZ_BLOCK_H
#define FENRA_TESTS_FUZZ_BLOCK_H

#include <algorithm>
#include <vector>

#include "fst/ostrenfst.h"

namespace fenra_fuzz {

// Whether the marks of the `size` cells at `head` are those of one state.
inline bool is_state(const Edge* head, NodeIndex size) {
  const bool has_arcs = head->edge_count > 0;
  for (NodeIndex i = 0; i < size; ++i) {
    const bool first = i == 0;
    const bool last = has_arcs && i + 1 == size;
    const NodeIndex bits = head[i].bits;
    if (((bits & EDGE_IS_NODE) != 0) != first || ((bits & EDGE_IS_LAST) != 0) != last ||
        ((bits & EDGE_IS_EDGE) != 0) != has_arcs ||
        (!first && ((bits & EDGE_IS_FINAL) != 0 || head[i].edge_count != 0))) {
      return false;
    }
  }
  return true;
}

// Whether the states, one behind the other, are the arc cells and what follows
// them, every arc leads to the head of one, and the spare cells are zero.
inline bool is_regular(const LkFst& fst) {
  const NodeIndex cells = fst.data_size / sizeof(Edge);
  std::vector<bool> is_head(cells);
  NodeIndex head = 0;
  for (NodeIndex state = 0; state < fst.node_count; ++state) {
    if (head >= cells || fst.data[head].edge_count > cells - head) {
      return false;
    }
    const NodeIndex size = std::max<NodeIndex>(fst.data[head].edge_count, 1);
    if (!is_state(fst.data + head, size) ||
        (fst.data[head].edge_count > 0) != (head < fst.edge_count)) {
      return false;
    }
    is_head[head] = true;
    head += size;
  }
  const auto leads_to_head = [&](const Edge& edge) {
    const NodeIndex target = edge.bits >> EDGE_NEXT_SHIFT;
    return target < cells && is_head[target];
  };
  const char* const spare = reinterpret_cast<const char*>(fst.data + head);
  const char* const end = reinterpret_cast<const char*>(fst.data) + fst.data_size;
  return fst.node_count > 0 && fst.edge_count <= cells &&
         std::all_of(fst.data, fst.data + fst.edge_count, leads_to_head) &&
         std::all_of(spare, end, [](char byte) { return byte == 0; });
}

// Whether the arcs of every state of a regular block ascend by lower label.
inline bool is_sorted_on_lower(const LkFst& fst) {
  for (NodeIndex i = 1; i < fst.edge_count; ++i) {
    const bool same_state = (fst.data[i].bits & EDGE_IS_NODE) == 0;
    if (same_state && fst.data[i - 1].lower > fst.data[i].lower) {
      return false;
    }
  }
  return true;
}

}  // namespace fenra_fuzz

#endif  // FENRA_TESTS_FUZZ_BLOCK_H
