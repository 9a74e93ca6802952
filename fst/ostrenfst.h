// The transducer engine: letter transducers in one packed memory block, their
// binary file format, the AT&T text loader, arc sorting, and the look iterator
// that runs a word through a transducer. docs/transducer-format.md has the
// formats with examples.
//
// An arc carries a pair of one-byte labels. Looking a word up reads it on the
// lower labels and spells the result with the upper ones; looking down does the
// reverse.
#ifndef FENRA_OSTRENFST_H
#define FENRA_OSTRENFST_H

#include <fenra/export.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

FENRA_BEGIN_DECLS

// ---- data model ----

typedef uint32_t NodeIndex;  // cell index of a state, header fields, Edge.bits
typedef uint32_t EdgeIndex;  // index of an arc cell
typedef uint16_t EdgeCount;  // arcs of one state
typedef uint32_t CharIndex;  // label number as written in AT&T text
typedef uint8_t Char;        // label
typedef int32_t Bool;        // 1 or 0

// Labels below SPECIAL_SYMBOLS_LAST are special; every other one stands for the
// character with that byte value.
enum {
  EPSILON_SYMBOL = 0,   // the arc consumes or produces nothing on that side
  UNKNOWN_SYMBOL = 1,   // no matching rule of its own
  IDENTITY_SYMBOL = 2,  // no matching rule of its own
  SPECIAL_SYMBOLS_LAST = 3
};

// Flag bits of Edge.bits (on disk too); the target stands above them.
enum {
  EDGE_IS_NODE = 1,   // the cell is the head cell of a state
  EDGE_IS_EDGE = 2,   // the cell carries an arc
  EDGE_IS_LAST = 4,   // the cell is the last arc of its state
  EDGE_IS_FINAL = 8,  // on a head cell: the state is final
  EDGE_NEXT_SHIFT = 6
};

// Bits of LkFst.flags (on disk too).
enum {
  LK_FST_SORTED_LOWER = 1,  // arcs of every state ascend by lower label
  LK_FST_SORTED_UPPER = 4   // arcs of every state ascend by upper label
};

// A cell, 8 bytes, in memory as on disk (little-endian). A state with k arcs is
// k consecutive arc cells, the first of which is also its head cell; a state
// without arcs is one head cell. A state is identified by the index of its head
// cell, and cell 0 is the start state.
typedef struct Edge {
  NodeIndex bits;        // flags, and the target's cell index from bit 6 up
  EdgeCount edge_count;  // on a head cell: the state's arcs; 0 elsewhere
  Char lower;
  Char upper;
} Edge;
typedef Edge Node;  // used where the cell is the head of a state

// A transducer: header and cells in one heap block, which is also, byte for
// byte, the uncompressed content of a binary transducer file. Cells 0 to
// edge_count - 1 are the arc blocks of all states with arcs, the head cells of
// states without arcs follow, and cells after the last state are zero.
typedef struct LkFst {
  NodeIndex data_size;   // bytes of cells behind the header
  NodeIndex node_count;  // states
  NodeIndex node_size;   // always 8
  NodeIndex edge_count;  // arcs
  NodeIndex edge_size;   // always 8
  int32_t flags;
  Edge data[];
} LkFst;

// Loads a binary transducer file, gzip-compressed or plain; what follows the block
// is ignored. The caller releases the transducer with lk_fst_free. Null, with a
// message on standard error, when the file cannot be opened or read, is damaged
// or ends early, has another cell size, or a block of 2^32 bytes or more.
// Nothing beyond that is checked: lookups, sorting and dumps stay inside the
// block whatever its cells say. A state whose arcs, or an arc whose target, lie
// outside the cells counts as a state without arcs, or is not taken.
FENRA_API LkFst* lk_fst_new_from_binary_file(const char* filename);

// Writes the block as a gzip stream, level 9. Returns 0, or 1 when the file
// cannot be opened or does not take the block; prints nothing. What zlib still
// holds is written while the file is closed, and a failure there is not seen.
FENRA_API int lk_fst_save_to_binary_file(LkFst* fst, const char* filename);

// Releases the block. Null is allowed.
FENRA_API void lk_fst_free(LkFst* lk_fst);

// Dumps arcs and final cells to standard output, for people. A line an arc, "self
// target upper lower", with cells numbered by memory address and labels as bytes;
// "# end edges"; a line with the index of every final cell among the arcs. Returns
// 0.
FENRA_API int lk_fst_debug_write(LkFst* lk_fst);

// The head cell of the arc's target. The index is not checked.
FENRA_API Node* lk_fst_next_node(LkFst* lk_fst, Edge* edge);

// Sets the arc's target and keeps the flag bits.
static inline void EDGE_SET_NEXT(Edge* edgept, NodeIndex value) {
  const NodeIndex low = ((NodeIndex)1 << EDGE_NEXT_SHIFT) - 1;
  edgept->bits = (edgept->bits & low) | (value << EDGE_NEXT_SHIFT);
}

// Makes the cell a head cell without arcs, respectively an arc cell that is not
// a head; the target and the labels stay.
static inline void node_init(Edge* node) {
  node->bits &= ~(NodeIndex)(EDGE_IS_EDGE | EDGE_IS_LAST | EDGE_IS_FINAL);
  node->bits |= EDGE_IS_NODE;
  node->edge_count = 0;
}
static inline void edge_init(Edge* edge) {
  edge->bits &= ~(NodeIndex)(EDGE_IS_NODE | EDGE_IS_LAST | EDGE_IS_FINAL);
  edge->bits |= EDGE_IS_EDGE;
  edge->edge_count = 0;
}

// The number of a cell in dumps: its address divided by 8, cut to 32 bits; 0 for
// null.
static inline NodeIndex NODE_GET_SELF(Node* node) { return (NodeIndex)((uintptr_t)node / 8); }

static inline Bool is_special_symbol(int symbol) {
  return symbol >= 0 && symbol < SPECIAL_SYMBOLS_LAST;
}

// Names of the special symbols, indexed by value.
static const char* const special_symbol_string[SPECIAL_SYMBOLS_LAST] = {
    "@_EPSILON_SYMBOL_@", "@_UNKNOWN_SYMBOL_@", "@_IDENTITY_SYMBOL_@"};

// Defined for special symbols only.
static inline const char* special_symbol_to_string(int symbol) {
  return special_symbol_string[symbol];
}

static inline Char get_lower(Edge* edge) { return edge->lower; }
static inline Char get_upper(Edge* edge) { return edge->upper; }

// Comparisons for qsort and bsearch, on unsigned bytes: -1, 0 or 1. The first two
// compare the labels of two cells, the last two the byte at `va` with the label
// of the cell at `vb`.
static inline int cmp_labels(Char a, Char b) { return (a > b) - (a < b); }
static inline int cmp_sort_lower(const void* va, const void* vb) {
  return cmp_labels(((const Edge*)va)->lower, ((const Edge*)vb)->lower);
}
static inline int cmp_sort_upper(const void* va, const void* vb) {
  return cmp_labels(((const Edge*)va)->upper, ((const Edge*)vb)->upper);
}
static inline int cmp_look_lower(const void* va, const void* vb) {
  return cmp_labels(*(const Char*)va, ((const Edge*)vb)->lower);
}
static inline int cmp_look_upper(const void* va, const void* vb) {
  return cmp_labels(*(const Char*)va, ((const Edge*)vb)->upper);
}

// ---- AT&T text ----

// Builds a transducer, sorted on its lower labels, from AT&T text: arc lines
// "source target upper lower", final-state lines "state", symbol lines "number
// character" (docs/transducer-format.md). The caller releases it with
// lk_fst_free. Null when memory is short; when the text is malformed, with one
// line on standard error that names the line and the reason; and when the file
// cannot be read, with a message. More than 20,000 final-state lines end the
// process with status 1, after "Stack overflow FILE:LINE" on standard error. A
// zero byte ends a file's text.
FENRA_API LkFst* lk_fst_new_from_att_file(const char* filename);
FENRA_API LkFst* lk_fst_new_from_att_string(const char* filedata);

// ---- look iterator and arc sorting ----

typedef enum LkLookDirection {
  LK_LOOK_UP = 0,   // input on lower labels, output on upper labels
  LK_LOOK_DOWN = 1  // input on upper labels, output on lower labels
} LkLookDirection;

// Sorts the arcs of every state, stably and in place: by lower label for
// LK_LOOK_UP, by upper label for any other value, and records the order in the
// flags. Head cells stay where they are, so every target stays valid. No lookup
// may run meanwhile.
FENRA_API void lk_fst_sort(LkFst* lk_fst, LkLookDirection look);

typedef struct LkLookIterator LkLookIterator;
typedef struct LookState LookState;

typedef Char (*LabelGetter)(Edge* edge);
// As qsort and bsearch take it.
typedef int (*Comparator)(const void* va, const void* vb);
// Pushes, above `state`, one entry for every arc of `node` that can be taken.
typedef void (*TransitionPusher)(LkLookIterator* stack, LookState* state, LkFst* lk_fst,
                                 Node* node);

enum { LK_LOOK_STACK_SIZE = 512 };

// One entry of the search stack.
struct LookState {
  Node* node;           // null once the entry has been expanded
  LookState* parent;    // the entry it was pushed from; null for the start
  const char* in_word;  // the input not yet consumed, inside the caller's word
  Char out_word;        // output label of the arc that led here, 0 for none
};

// A depth-first search of one word. Allocates nothing after its creation.
struct LkLookIterator {
  int32_t top;  // entries on the stack
  LabelGetter input_label_getter;
  LabelGetter output_label_getter;
  Comparator search_cmp;  // null when the arcs are not sorted for the direction
  TransitionPusher push_transitions;
  LkFst* lk_fst;  // borrowed
  LookState data[LK_LOOK_STACK_SIZE];
};

// A new iterator, undefined until lk_look_iterator_init; null when memory is
// short. Released with lk_look_iterator_free (null is allowed).
FENRA_API LkLookIterator* lk_look_iterator_new(void);
FENRA_API void lk_look_iterator_free(LkLookIterator* it);

// Prepares the search of a zero-terminated word; any direction but LK_LOOK_DOWN
// counts as up. Transducer and word are borrowed and must stay unchanged while
// the iterator is in use. May be called again for another word. A transducer
// without cells has no results.
FENRA_API void lk_look_iterator_init(LkLookIterator* iterator, LkFst* lk_fst, const char* word,
                                     LkLookDirection direction);

// Finds the next result and writes it, zero-terminated and cut to
// out_word_size - 1 bytes (out_word_size >= 1). Returns 1, or 0 when there are no
// more, and at every later call. A search that needs more than 512 open entries
// ends the process with status 1, after "Stack overflow FILE:LINE" on standard
// error.
FENRA_API Bool lk_look_iterator_next(LkLookIterator* iterator, char* out_word, int out_word_size);

// The search stack, for pushers. look_stack_head is defined only when the stack
// is not empty.
FENRA_API void look_stack_push(LkLookIterator* stack, Node* node, const char* in_word,
                               Char out_char, LookState* parent);
FENRA_API Bool look_stack_empty(LkLookIterator* stack);
FENRA_API Bool look_stack_full(LkLookIterator* stack);
FENRA_API LookState* look_stack_head(LkLookIterator* stack);
FENRA_API void look_stack_pop(LkLookIterator* stack);

// The two pushers. The first scans all arcs of a state. The second takes the
// epsilon arcs and bisects the others, which must be sorted on the input labels, for
// the next input byte: from the arc it meets it pushes the matching arcs upwards,
// then those below it downwards. The last entry pushed is explored first, so this
// order is the order of results. Special input labels but epsilon are never taken
// by the first pusher; the second takes them for input bytes 1 and 2.
FENRA_API void look_stack_push_transitions(LkLookIterator* stack, LookState* state, LkFst* lk_fst,
                                           Node* node);
FENRA_API void look_stack_push_transitions_sorted(LkLookIterator* stack, LookState* state,
                                                  LkFst* lk_fst, Node* node);

// Dumps the stack, top entry first, for people.
FENRA_API void look_stack_debug_print(FILE* f, LkLookIterator* stack);

FENRA_END_DECLS

#endif  // FENRA_OSTRENFST_H
