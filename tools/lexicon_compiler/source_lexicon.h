// The morphological dictionary that the lexicon is made from, as `lt-print -H`
// prints it: letter transducers from surface forms to analyses.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_SOURCE_LEXICON_H
#define FENRA_TOOLS_LEXICON_COMPILER_SOURCE_LEXICON_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace lexicon_compiler {

struct SourceArc {
  uint32_t target;
  std::string input;   // one symbol; empty for epsilon
  std::string output;  // one symbol, for instance "a" or "<n>"; empty for epsilon
};

struct SourceState {
  std::vector<SourceArc> arcs;
  bool is_final = false;
};

// A letter transducer; state 0 is the start.
using SourceSection = std::vector<SourceState>;

// Reads the printed sections, which lines "--" separate. An arc is a line of the
// tab-separated fields source, target, input, output, weight; a final state a
// line of state and weight; "@0@" is epsilon. Weights are ignored. Throws
// BuildError with the number of a malformed line.
std::vector<SourceSection> ReadSections(std::istream& printed);

bool HasCycle(const SourceSection& section);

// Removes every arc that reads anything but a small letter of ASCII or a hyphen,
// and then every arc that leads to no final state.
void KeepPlainWords(SourceSection* section);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_SOURCE_LEXICON_H
