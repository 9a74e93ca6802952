// The look iterator: depth-first search of one word through a transducer, over
// a fixed stack. An entry stays on the stack below everything reached through it,
// so the parent links of an entry spell the path that led to it.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "fst/cells.h"
#include "fst/ostrenfst.h"
#include "fst/stack_failure.h"

using fenra_fst::cell_count;
using fenra_fst::edge_count_of;
using fenra_fst::target_of;

namespace {

// The labels of a direction. The two directions have types of their own, so that
// the compiler sees the labels and the comparison; an iterator whose getters were
// set by someone else is served through its fields.
struct UpLabels {
  static Char input(Edge* edge) { return edge->lower; }
  static Char output(Edge* edge) { return edge->upper; }
  static int compare(Char byte, Edge* edge) { return cmp_look_lower(&byte, edge); }
};
struct DownLabels {
  static Char input(Edge* edge) { return edge->upper; }
  static Char output(Edge* edge) { return edge->lower; }
  static int compare(Char byte, Edge* edge) { return cmp_look_upper(&byte, edge); }
};
struct FieldLabels {
  const LkLookIterator* iterator;
  Char input(Edge* edge) const { return iterator->input_label_getter(edge); }
  Char output(Edge* edge) const { return iterator->output_label_getter(edge); }
  int compare(Char byte, Edge* edge) const { return iterator->search_cmp(&byte, edge); }
};

template <typename Function>
void with_labels(const LkLookIterator* iterator, Function function) {
  if (iterator->input_label_getter == get_lower && iterator->output_label_getter == get_upper) {
    function(UpLabels{});
  } else if (iterator->input_label_getter == get_upper &&
             iterator->output_label_getter == get_lower) {
    function(DownLabels{});
  } else {
    function(FieldLabels{iterator});
  }
}

inline void push(LkLookIterator* stack, Node* node, const char* in_word, Char out_char,
                 LookState* parent) {
  if (stack->top >= LK_LOOK_STACK_SIZE) {
    fenra_fst::stack_failure("overflow", __FILE_NAME__, __LINE__);
  }
  LookState* const entry = &stack->data[stack->top++];
  entry->node = node;
  entry->parent = parent;
  entry->in_word = in_word;
  entry->out_word = out_char;
}

// The arcs of one state, and the step along one of them.
template <typename Labels>
class Expansion {
 public:
  Expansion(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node, Labels labels)
      : stack_(stack),
        state_(state),
        fst_(fst),
        cells_(cell_count(fst)),
        begin_(node),
        end_(node + edge_count_of(fst, static_cast<NodeIndex>(node - fst->data), cells_)),
        labels_(labels) {}

  void linear() {
    const char* const word = state_->in_word;
    const Char byte = static_cast<Char>(*word);
    for (Edge* edge = begin_; edge != end_; ++edge) {
      const Char label = labels_.input(edge);
      if (label == EPSILON_SYMBOL) {
        take(edge, word);
      } else if (label == byte && label >= SPECIAL_SYMBOLS_LAST) {
        take(edge, word + 1);
      }
    }
  }

  void sorted() {
    const char* const word = state_->in_word;
    Edge* begin = begin_;
    for (; begin != end_ && labels_.input(begin) == EPSILON_SYMBOL; ++begin) {
      take(begin, word);
    }
    // At the end of the word nothing can match, also in a damaged file whose arcs
    // are not in order: nothing may step over the terminating zero.
    const Char byte = static_cast<Char>(*word);
    if (byte == 0) {
      return;
    }
    Edge* const match = search(begin, byte);
    if (match == nullptr) {
      return;
    }
    for (Edge* edge = match; edge != end_ && labels_.input(edge) == byte; ++edge) {
      take(edge, word + 1);
    }
    for (Edge* edge = match; edge != begin && labels_.input(edge - 1) == byte; --edge) {
      take(edge - 1, word + 1);
    }
  }

 private:
  void take(Edge* edge, const char* rest) {
    const NodeIndex target = target_of(edge);
    if (target < cells_) {
      push(stack_, &fst_->data[target], rest, labels_.output(edge), state_);
    }
  }

  // One arc of [begin, end_) whose input label is `byte`, or null. Where several
  // match, the probes decide which one is found, and so the order of results:
  // always the middle of the range, rounded down, until a probe matches.
  Edge* search(Edge* begin, Char byte) {
    size_t low = 0;
    size_t high = static_cast<size_t>(end_ - begin);
    while (low < high) {
      const size_t middle = (low + high) / 2;
      const int order = labels_.compare(byte, begin + middle);
      if (order == 0) {
        return begin + middle;
      }
      if (order < 0) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return nullptr;
  }

  LkLookIterator* const stack_;
  LookState* const state_;
  LkFst* const fst_;
  const NodeIndex cells_;
  Edge* const begin_;
  Edge* const end_;
  const Labels labels_;
};

// Spells the path to `state` into word[0 .. word_length], the terminating zero
// included, and drops what does not fit. The path is walked from its end, so its
// length is taken first.
void build_out_word(const LookState* state, char* word, int word_length) {
  int length = 0;
  for (const LookState* s = state; s != nullptr; s = s->parent) {
    length += s->out_word != 0 ? 1 : 0;
  }
  word[std::min(length, word_length)] = '\0';
  for (const LookState* s = state; s != nullptr; s = s->parent) {
    if (s->out_word != 0 && --length < word_length) {
      word[length] = static_cast<char>(s->out_word);
    }
  }
}

}  // namespace

LkLookIterator* lk_look_iterator_new(void) {
  return static_cast<LkLookIterator*>(std::malloc(sizeof(LkLookIterator)));
}

void lk_look_iterator_free(LkLookIterator* it) { std::free(it); }

void lk_look_iterator_init(LkLookIterator* iterator, LkFst* lk_fst, const char* word,
                           LkLookDirection direction) {
  const bool down = direction == LK_LOOK_DOWN;
  const bool sorted = (lk_fst->flags & (down ? LK_FST_SORTED_UPPER : LK_FST_SORTED_LOWER)) != 0;
  iterator->top = 0;
  iterator->lk_fst = lk_fst;
  iterator->input_label_getter = down ? get_upper : get_lower;
  iterator->output_label_getter = down ? get_lower : get_upper;
  iterator->search_cmp = !sorted ? nullptr : down ? cmp_look_upper : cmp_look_lower;
  iterator->push_transitions =
      sorted ? look_stack_push_transitions_sorted : look_stack_push_transitions;
  if (cell_count(lk_fst) > 0) {
    push(iterator, lk_fst->data, word, 0, nullptr);
  }
}

Bool lk_look_iterator_next(LkLookIterator* iterator, char* out_word, int out_word_size) {
  while (iterator->top > 0) {
    LookState* const state = &iterator->data[iterator->top - 1];
    Node* const node = state->node;
    if (node == nullptr) {
      --iterator->top;
      continue;
    }
    iterator->push_transitions(iterator, state, iterator->lk_fst, node);
    state->node = nullptr;
    if ((node->bits & EDGE_IS_FINAL) != 0 && *state->in_word == '\0') {
      if (out_word_size > 0) {
        build_out_word(state, out_word, out_word_size - 1);
      }
      return 1;
    }
  }
  return 0;
}

void look_stack_push(LkLookIterator* stack, Node* node, const char* in_word, Char out_char,
                     LookState* parent) {
  push(stack, node, in_word, out_char, parent);
}

Bool look_stack_empty(LkLookIterator* stack) { return stack->top == 0; }

Bool look_stack_full(LkLookIterator* stack) { return stack->top == LK_LOOK_STACK_SIZE; }

LookState* look_stack_head(LkLookIterator* stack) { return &stack->data[stack->top - 1]; }

void look_stack_pop(LkLookIterator* stack) { --stack->top; }

void look_stack_push_transitions(LkLookIterator* stack, LookState* state, LkFst* lk_fst,
                                 Node* node) {
  with_labels(stack, [=](auto labels) {
    Expansion<decltype(labels)>(stack, state, lk_fst, node, labels).linear();
  });
}

void look_stack_push_transitions_sorted(LkLookIterator* stack, LookState* state, LkFst* lk_fst,
                                        Node* node) {
  with_labels(stack, [=](auto labels) {
    Expansion<decltype(labels)>(stack, state, lk_fst, node, labels).sorted();
  });
}

void look_stack_debug_print(FILE* f, LkLookIterator* stack) {
  std::fputs("\nSTACK\n", f);
  for (int32_t i = stack->top; i-- > 0;) {
    const LookState& entry = stack->data[i];
    std::fprintf(f, "%d \"%s\" '%c' %d\n", static_cast<int>(NODE_GET_SELF(entry.node)),
                 entry.in_word, entry.out_word, entry.node == nullptr ? 1 : 0);
  }
  std::fputc('\n', f);
}
