// Acyclic letter transducers under construction.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_TRANSDUCER_H
#define FENRA_TOOLS_LEXICON_COMPILER_TRANSDUCER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lexicon_compiler {

// Label 0 is epsilon, on either side.
struct Arc {
  char lower;
  char upper;
  uint32_t target;
};

struct State {
  std::vector<Arc> arcs;
  bool is_final = false;
};

// State 0 is the start; a new transducer has it and nothing else.
struct Transducer {
  std::vector<State> states = std::vector<State>(1);

  uint32_t AddState();
  void AddArc(uint32_t source, char lower, char upper, uint32_t target);
  // Adds a new state and an arc to it, whose number it returns.
  uint32_t Extend(uint32_t source, char lower, char upper);
  // Extends `source` by arcs that write `output` and read nothing.
  uint32_t ExtendWriting(uint32_t source, std::string_view output);
  size_t CountArcs() const;
};

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_TRANSDUCER_H
