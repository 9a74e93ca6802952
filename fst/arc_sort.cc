// Arc sorting: puts the arcs of every state in the order of one label, inside
// the state's own block of cells.
#include <algorithm>

#include "fst/cells.h"
#include "fst/ostrenfst.h"

using fenra_fst::cell_count;
using fenra_fst::edge_count_of;

namespace {

// Sorts the `count` (> 1) arcs of one state. The marks of the first and the last
// cell belong to the places, not to the arcs that stand there.
template <Comparator kCompare>
void sort_state(Node* head, EdgeCount count) {
  Edge* const last = head + count - 1;
  const NodeIndex final_bit = head->bits & EDGE_IS_FINAL;
  edge_init(head);
  last->bits &= ~NodeIndex{EDGE_IS_LAST};

  // Never throws: without memory for its buffer it merges in place.
  std::stable_sort(head, head + count,
                   [](const Edge& a, const Edge& b) { return kCompare(&a, &b) < 0; });

  head->bits = (head->bits & ~NodeIndex{EDGE_IS_FINAL}) | final_bit | EDGE_IS_NODE;
  head->edge_count = count;
  last->bits |= EDGE_IS_LAST;
}

template <Comparator kCompare>
void sort_states(LkFst* fst) {
  const NodeIndex cells = cell_count(fst);
  NodeIndex head = 0;
  for (NodeIndex n = 0; n < fst->node_count && head < cells; ++n) {
    const EdgeCount count = edge_count_of(fst, head, cells);
    if (count > 1) {
      sort_state<kCompare>(&fst->data[head], count);
    }
    head += std::max<NodeIndex>(count, 1);
  }
}

}  // namespace

void lk_fst_sort(LkFst* lk_fst, LkLookDirection look) {
  if (look == LK_LOOK_UP) {
    lk_fst->flags = (lk_fst->flags & ~LK_FST_SORTED_UPPER) | LK_FST_SORTED_LOWER;
    sort_states<cmp_sort_lower>(lk_fst);
  } else {
    lk_fst->flags = (lk_fst->flags & ~LK_FST_SORTED_LOWER) | LK_FST_SORTED_UPPER;
    sort_states<cmp_sort_upper>(lk_fst);
  }
}
