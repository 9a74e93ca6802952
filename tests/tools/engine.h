// Transducers under construction, as the engine searches them.
#ifndef FENRA_TESTS_TOOLS_ENGINE_H
#define FENRA_TESTS_TOOLS_ENGINE_H

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "fst/ostrenfst.h"
#include "tools/lexicon_compiler/att_text.h"
#include "tools/lexicon_compiler/transducer.h"

namespace fenra_test {

struct FstFree {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};
using FstPtr = std::unique_ptr<LkFst, FstFree>;

inline FstPtr Load(const lexicon_compiler::Transducer& transducer) {
  return FstPtr(lk_fst_new_from_att_string(lexicon_compiler::AttText(transducer).c_str()));
}

// The entries on the stack after each push of a search, at most.
inline int& PeakEntries() {
  static int peak = 0;
  return peak;
}

inline void PushAndMeasure(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  look_stack_push_transitions_sorted(stack, state, fst, node);
  PeakEntries() = std::max(PeakEntries(), stack->top);
}

// All results in order; sets PeakEntries.
inline std::vector<std::string> LookUp(const FstPtr& fst, const std::string& word) {
  std::vector<std::string> results;
  LkLookIterator search;
  lk_look_iterator_init(&search, fst.get(), word.c_str(), LK_LOOK_UP);
  search.push_transitions = PushAndMeasure;
  PeakEntries() = search.top;
  char result[512];
  while (lk_look_iterator_next(&search, result, sizeof(result)) != 0) {
    results.emplace_back(result);
  }
  return results;
}

}  // namespace fenra_test

#endif  // FENRA_TESTS_TOOLS_ENGINE_H
