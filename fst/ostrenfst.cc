// The packed transducer: release, navigation and the dump for people.
#include "fst/ostrenfst.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "fst/cells.h"

using fenra_fst::cell_count;
using fenra_fst::target_of;

// The block is written to files as it lies in memory.
static_assert(sizeof(Edge) == 8 && sizeof(LkFst) == 24 && offsetof(LkFst, data) == 24,
              "the block must have the layout of the file");
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "files are little-endian");

void lk_fst_free(LkFst* lk_fst) { std::free(lk_fst); }

Node* lk_fst_next_node(LkFst* lk_fst, Edge* edge) { return &lk_fst->data[target_of(edge)]; }

int lk_fst_debug_write(LkFst* lk_fst) {
  const NodeIndex cells = cell_count(lk_fst);
  const NodeIndex edges = std::min(lk_fst->edge_count, cells);
  for (NodeIndex i = 0; i < edges; ++i) {
    Edge* const edge = &lk_fst->data[i];
    if (target_of(edge) >= cells) {
      continue;
    }
    std::printf("%d %d %c %c\n", static_cast<int>(NODE_GET_SELF(edge)),
                static_cast<int>(NODE_GET_SELF(lk_fst_next_node(lk_fst, edge))), edge->upper,
                edge->lower);
  }
  std::printf("# end edges\n");
  for (NodeIndex i = 0; i < edges; ++i) {
    if ((lk_fst->data[i].bits & EDGE_IS_FINAL) != 0) {
      std::printf("%d\n", static_cast<int>(i));
    }
  }
  return 0;
}
