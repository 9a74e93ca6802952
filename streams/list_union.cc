// The chain of two-input unions that defines the result would nest as deep as
// the list is long, and a list can be as long as an index has keys. A binary
// tree of two-input unions over the same sequence of inputs delivers the same
// elements whatever its shape: the input furthest left gives the element of a
// tie, everything tied is consumed with it, and inputs are pulled from left to
// right. So this is the balanced tree, kept in arrays: an element costs one
// comparison a level, and recursion goes log2 of the number of inputs deep.
#include "streams/list_union.h"

#include "streams/articledb_generator.h"
#include "streams/skip.h"

namespace ostren::fenra::streams {
namespace {

// Where the current element of a node comes from.
enum Origin : guint32 { NONE = 0, LEFT = 1, RIGHT = 2, BOTH = LEFT | RIGHT };

struct Node {
  void* item;      // the least element below; belongs to an input
  guint32 origin;  // an Origin; of a leaf, NONE once its input gives no more
};

// The inputs [low, high), high > low, below one node.
struct Span {
  gsize low;
  gsize high;

  bool is_leaf() const { return high - low == 1; }
  gsize middle() const { return low + (high - low) / 2; }
  Span left() const { return {low, middle()}; }
  Span right() const { return {middle(), high}; }
};

struct Merger {
  OstrenGenerator head;
  GCompareFunc compare;
  gsize size;                // number of inputs, at least 2
  gsize live;                // inputs whose last pull gave an element
  gint32 pending;            // 1 until the first element has been delivered
  gint32 last_status;        // what the input that stopped last gave: 0 or 2
  OstrenGenerator** inputs;  // owned
  Node* nodes;               // inner nodes by middle(), 1 to size - 1; then the leaves

  Node* at(Span span) { return &nodes[span.is_leaf() ? size + span.low : span.middle()]; }
};

void pull_leaf(Merger* merger, gsize input, guint64 least) {
  Node* leaf = &merger->nodes[merger->size + input];
  const int status = pull_from(merger->inputs[input], least, &leaf->item);
  if (status == 1) {
    return;
  }
  leaf->origin = NONE;
  merger->last_status = status;
  --merger->live;
}

// Decides an inner node from the elements of its children.
void decide(Merger* merger, Span span) {
  Node* node = merger->at(span);
  const Node* left = merger->at(span.left());
  const Node* right = merger->at(span.right());
  node->origin = (left->origin != NONE ? LEFT : NONE) | (right->origin != NONE ? RIGHT : NONE);
  if (node->origin == BOTH) {
    const int order = merger->compare(left->item, right->item);
    if (order != 0) {
      node->origin = order < 0 ? LEFT : RIGHT;
    }
  }
  node->item = (node->origin & LEFT) != 0 ? left->item : right->item;
}

// Decides every node of a span from the leaves up.
void decide_all(Merger* merger, Span span) {
  if (span.is_leaf()) {
    return;
  }
  decide_all(merger, span.left());
  decide_all(merger, span.right());
  decide(merger, span);
}

// Pulls the inputs whose elements were consumed with that of the span's node.
void advance(Merger* merger, Span span, guint64 least) {
  if (span.is_leaf()) {
    pull_leaf(merger, span.low, least);
    return;
  }
  const guint32 origin = merger->at(span)->origin;
  if ((origin & LEFT) != 0) {
    advance(merger, span.left(), least);
  }
  if ((origin & RIGHT) != 0) {
    advance(merger, span.right(), least);
  }
  decide(merger, span);
}

int merger_free(OstrenGenerator* gener) {
  auto* merger = reinterpret_cast<Merger*>(gener);
  for (gsize i = 0; i < merger->size; ++i) {
    ostren_generator_free(merger->inputs[i]);
  }
  g_free(merger->inputs);
  g_free(merger->nodes);
  g_free(merger);
  return 0;
}

OstrenGenerator* new_merger(const GList* list, gsize size, GCompareFunc compare) {
  auto* merger = g_new0(Merger, 1);
  ostren_generator_init(&merger->head, list_union_next, merger_free);
  merger->compare = compare;
  merger->size = size;
  merger->live = size;
  merger->pending = 1;
  merger->inputs = g_new(OstrenGenerator*, size);
  merger->nodes = g_new0(Node, 2 * size);
  gsize filled = 0;
  for (const GList* cell = list; cell != nullptr; cell = cell->next) {
    merger->nodes[size + filled].origin = LEFT;
    merger->inputs[filled++] = static_cast<OstrenGenerator*>(cell->data);
  }
  // The first pulls come in the order in which a chain built from its tail makes
  // them: the innermost union's two inputs, then the others from right to left.
  pull_leaf(merger, size - 2, 0);
  pull_leaf(merger, size - 1, 0);
  for (gsize i = size - 2; i-- > 0;) {
    pull_leaf(merger, i, 0);
  }
  decide_all(merger, {0, size});
  return &merger->head;
}

}  // namespace

int list_union_next(OstrenGenerator* gener, void** item) { return list_union_skip(gener, 0, item); }

int list_union_skip(OstrenGenerator* gener, guint64 least, void** item) {
  auto* merger = reinterpret_cast<Merger*>(gener);
  if (merger->live == 0) {
    return 0;
  }
  const bool last_one = merger->live == 1;
  const Span all{0, merger->size};
  // The delivered element must stay valid until this pull, so its inputs are
  // not advanced before.
  if (merger->pending) {
    merger->pending = 0;
  } else {
    advance(merger, all, merger->compare == guint64_cmp ? least : 0);
  }
  // Only the failure of an input that was alone counts as the union's own.
  if (merger->live == 0) {
    return last_one ? merger->last_status : 0;
  }
  *item = merger->at(all)->item;
  return 1;
}

}  // namespace ostren::fenra::streams

OstrenGenerator* ostren_generator_union_from_glist(GList* list, GCompareFunc compare) {
  const guint size = g_list_length(list);
  if (size == 0) {
    return ostren_empty_generator_new();
  }
  auto* first = static_cast<OstrenGenerator*>(list->data);
  if (size == 1) {
    return first;
  }
  if (size == 2) {
    return ostren_sorted_generator_unioner_new(
        first, static_cast<OstrenGenerator*>(list->next->data), compare);
  }
  return ostren::fenra::streams::new_merger(list, size, compare);
}
