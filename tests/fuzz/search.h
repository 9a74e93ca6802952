// Bounded searches of a transducer whose content is not trusted.
#ifndef FENRA_TESTS_FUZZ_SEARCH_H
#define FENRA_TESTS_FUZZ_SEARCH_H

#include <algorithm>
#include <string>
#include <vector>

#include "fst/ostrenfst.h"
#include "tests/fuzz/exit_trap.h"

namespace fenra_fuzz {

struct SearchResult {
  std::vector<std::string> found;
  bool complete;  // neither the stack nor the bounds of the search were exhausted
};

constexpr int kMaxExpansions = 2000;
constexpr size_t kMaxResults = 200;

// The expansions that the running search has left. Later ones push nothing, so
// that the search ends.
inline int& expansions_left() {
  static int left = 0;
  return left;
}

inline bool may_expand() { return --expansions_left() >= 0; }

inline void push_linear(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  if (may_expand()) {
    look_stack_push_transitions(stack, state, fst, node);
  }
}

inline void push_sorted(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  if (may_expand()) {
    look_stack_push_transitions_sorted(stack, state, fst, node);
  }
}

// The results of `word` in the order found, each cut to 63 bytes.
inline SearchResult search(LkFst* fst, const std::string& word, LkLookDirection direction) {
  static LkLookIterator iterator;
  char results[kMaxResults][64];
  size_t count = 0;
  expansions_left() = kMaxExpansions;
  const bool survived = survives([&] {
    lk_look_iterator_init(&iterator, fst, word.c_str(), direction);
    iterator.push_transitions = iterator.search_cmp != nullptr ? push_sorted : push_linear;
    while (count < kMaxResults && lk_look_iterator_next(&iterator, results[count], 64) != 0) {
      ++count;
    }
  });
  SearchResult result;
  result.found.assign(results, results + count);
  result.complete = survived && expansions_left() >= 0 && count < kMaxResults;
  return result;
}

}  // namespace fenra_fuzz

#endif  // FENRA_TESTS_FUZZ_SEARCH_H
