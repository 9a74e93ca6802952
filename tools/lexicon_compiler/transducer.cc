#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

uint32_t Transducer::AddState() {
  states.emplace_back();
  return static_cast<uint32_t>(states.size() - 1);
}

void Transducer::AddArc(uint32_t source, char lower, char upper, uint32_t target) {
  states[source].arcs.push_back({lower, upper, target});
}

uint32_t Transducer::Extend(uint32_t source, char lower, char upper) {
  const uint32_t target = AddState();
  AddArc(source, lower, upper, target);
  return target;
}

uint32_t Transducer::ExtendWriting(uint32_t source, std::string_view output) {
  for (const char byte : output) {
    source = Extend(source, 0, byte);
  }
  return source;
}

size_t Transducer::CountArcs() const {
  size_t count = 0;
  for (const State& state : states) {
    count += state.arcs.size();
  }
  return count;
}

}  // namespace lexicon_compiler
