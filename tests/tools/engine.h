// Transducers under construction, as the engine searches them.
#ifndef FENRA_TESTS_TOOLS_ENGINE_H
#define FENRA_TESTS_TOOLS_ENGINE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/fst/fst_test_util.h"
#include "tools/lexicon_compiler/att_text.h"
#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/transducer.h"

namespace fenra_test {

using Results = std::vector<std::string>;

using FstPtr = Fst;

inline FstPtr Load(const lexicon_compiler::Transducer& transducer) {
  return FstPtr(lk_fst_new_from_att_string(lexicon_compiler::AttText(transducer).c_str()));
}

// What the last search has cost.
struct Cost {
  int entries;     // on the stack after a push, at most
  int expansions;  // of states
};

inline Cost& LastCost() {
  static Cost cost;
  return cost;
}

inline void PushAndMeasure(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  look_stack_push_transitions_sorted(stack, state, fst, node);
  LastCost().entries = std::max(LastCost().entries, stack->top);
  ++LastCost().expansions;
}

// All results in order; sets LastCost.
inline Results LookUp(const FstPtr& fst, const std::string& word) {
  Results results;
  LkLookIterator search;
  lk_look_iterator_init(&search, fst.get(), word.c_str(), LK_LOOK_UP);
  search.push_transitions = PushAndMeasure;
  LastCost() = {search.top, 0};
  char result[512];
  while (lk_look_iterator_next(&search, result, sizeof(result)) != 0) {
    results.emplace_back(result);
  }
  return results;
}

// Results, and the words with blanks between them that have just these.
using Analyses = std::vector<std::pair<Results, std::string>>;

inline std::vector<std::string> Split(const std::string& words) {
  std::vector<std::string> split;
  for (size_t at = 0, end; (at = words.find_first_not_of(' ', at)) != std::string::npos; at = end) {
    end = std::min(words.find(' ', at), words.size());
    split.push_back(words.substr(at, end - at));
  }
  return split;
}

inline void ExpectAnalyses(const FstPtr& fst, const Analyses& analyses) {
  ASSERT_NE(fst, nullptr);
  for (const auto& [results, words] : analyses) {
    for (const std::string& word : Split(words)) {
      EXPECT_EQ(LookUp(fst, word), results) << word;
    }
  }
}

// The message of the error that building ends with; nothing when there is none.
template <typename Build>
std::string ErrorOf(Build build) try {
  build();
  return "";
} catch (const lexicon_compiler::BuildError& error) {
  return error.what();
}

}  // namespace fenra_test

#endif  // FENRA_TESTS_TOOLS_ENGINE_H
