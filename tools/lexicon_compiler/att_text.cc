#include "tools/lexicon_compiler/att_text.h"

#include <cctype>
#include <set>

#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/search_order.h"

namespace lexicon_compiler {

namespace {

constexpr size_t kMaxFinalLines = 20000;

void CheckLabels(const std::set<char>& labels) {
  for (const char label : labels) {
    if (std::isgraph(static_cast<unsigned char>(label)) == 0) {
      throw BuildError("label " + std::to_string(static_cast<unsigned char>(label)) +
                       " is not a visible character of ASCII");
    }
  }
}

}  // namespace

std::string AttText(const Transducer& transducer) {
  std::string text;
  std::string finals;
  size_t final_count = 0;
  std::set<char> labels;
  for (size_t state = 0; state < transducer.states.size(); ++state) {
    for (const Arc& arc : ArrangeForSearch(transducer.states[state].arcs)) {
      text += std::to_string(state) + ' ' + std::to_string(arc.target) + ' ' +
              std::to_string(static_cast<unsigned char>(arc.upper)) + ' ' +
              std::to_string(static_cast<unsigned char>(arc.lower)) + '\n';
      labels.insert({arc.lower, arc.upper});
    }
    if (transducer.states[state].is_final) {
      finals += std::to_string(state) + '\n';
      ++final_count;
    }
  }
  if (transducer.states[0].arcs.empty() || final_count == 0) {
    throw BuildError("an empty transducer has no AT&T text");
  }
  if (final_count > kMaxFinalLines) {
    throw BuildError(std::to_string(final_count) + " final states, but AT&T text has room for " +
                     std::to_string(kMaxFinalLines));
  }
  labels.erase('\0');
  CheckLabels(labels);
  // The line of label 0 holds one number and more, so it ends the final states.
  text += finals + "0 @0@\n";
  for (const char label : labels) {
    text += std::to_string(static_cast<unsigned char>(label)) + ' ' + label + '\n';
  }
  return text;
}

}  // namespace lexicon_compiler
