// Acyclic letter transducers under construction, and the operations on them.
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

inline bool operator==(const Arc& a, const Arc& b) {
  return a.lower == b.lower && a.upper == b.upper && a.target == b.target;
}
inline bool operator<(const Arc& a, const Arc& b) {
  if (a.lower != b.lower) {
    return a.lower < b.lower;
  }
  return a.upper != b.upper ? a.upper < b.upper : a.target < b.target;
}

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

// An equivalent transducer over pairs of labels (the same sequences of pairs, with
// pairs of two epsilons left out) in which no state has two arcs of one pair.
// The arcs of its states ascend by pair.
Transducer Determinise(const Transducer& transducer);

// The smallest transducer with the same sequences of pairs in the same order.
// Works on deterministic transducers without cycles; others are not made
// smallest, and a cycle throws BuildError. States whose arcs differ only in order
// are kept apart.
Transducer Minimise(const Transducer& transducer);

// The part without everything that reads one of `words`.
Transducer WithoutWords(const Transducer& transducer, const std::vector<std::string>& words);

// The part that writes what it reads, arc by arc, and then `mark` on an arc that
// reads nothing; and the rest.
Transducer MarkedCopies(const Transducer& transducer, char mark);
Transducer WithoutMarkedCopies(const Transducer& transducer, char mark);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_TRANSDUCER_H
