// Transducers as AT&T text.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_ATT_TEXT_H
#define FENRA_TOOLS_LEXICON_COMPILER_ATT_TEXT_H

#include <string>

#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

// The text from which lk_fst_new_from_att_file builds the same transducer, with
// the arcs of every state in search order, when every state can be reached.
// The number of a label is its byte.
// Throws BuildError when the transducer has no arc, no final state or more final
// states than the loader takes, or a label that the text cannot spell.
std::string AttText(const Transducer& transducer);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_ATT_TEXT_H
