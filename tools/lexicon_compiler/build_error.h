// What ends a compilation.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_BUILD_ERROR_H
#define FENRA_TOOLS_LEXICON_COMPILER_BUILD_ERROR_H

#include <stdexcept>

namespace lexicon_compiler {

// The message says what is wrong and where, for whoever builds the lexicon.
struct BuildError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_BUILD_ERROR_H
