// Bounds of a transducer's cells. Binary files are not validated when they are
// loaded, so whatever follows a cell's counts and targets asks here first: a
// block of arcs or a target that does not lie in the cell array counts as absent.
#ifndef FENRA_FST_CELLS_H
#define FENRA_FST_CELLS_H

#include "fst/ostrenfst.h"

namespace fenra_fst {

// Whole cells behind the header; data_size need not be a multiple of 8.
inline NodeIndex cell_count(const LkFst* fst) { return fst->data_size / sizeof(Edge); }

inline NodeIndex target_of(const Edge* edge) { return edge->bits >> EDGE_NEXT_SHIFT; }

// Arcs of the state whose head is cell `head`, which must be below `cells`.
inline EdgeCount edge_count_of(const LkFst* fst, NodeIndex head, NodeIndex cells) {
  const EdgeCount count = fst->data[head].edge_count;
  return count <= cells - head ? count : 0;
}

}  // namespace fenra_fst

#endif  // FENRA_FST_CELLS_H
