// The last step of every lexicon: checks, and the files.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_WRITE_LEXICON_H
#define FENRA_TOOLS_LEXICON_COMPILER_WRITE_LEXICON_H

#include <string>

#include "tools/lexicon_compiler/transducer.h"

namespace lexicon_compiler {

struct Written {
  std::string summary;      // sizes, for people
  std::string fingerprint;  // 16 hexadecimal digits, of the AT&T text
};

// Writes the lexicon as AT&T text and, by way of the engine's loader, as a binary
// transducer. Throws BuildError when a search could need more open entries than
// are safe, or a file cannot be written.
Written WriteLexicon(const Transducer& lexicon, const std::string& att_path,
                     const std::string& binary_path);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_WRITE_LEXICON_H
