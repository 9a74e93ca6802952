// Reader of the Basque spelling dictionary: its stems and suffix classes become
// stems and suffix classes of the lexicon, with the lemmas that it does not have.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_HUNSPELL_SOURCE_H
#define FENRA_TOOLS_LEXICON_COMPILER_HUNSPELL_SOURCE_H

#include <istream>

#include "tools/lexicon_compiler/grammar.h"

namespace lexicon_compiler {

// Adds every stem of the .dic file that is spelled with small letters of ASCII and
// hyphens to `grammar`, in branches of the strengths "bare" (the uninflected form,
// when it is the lemma) and "rest", and the suffix classes of the .aff file that
// the stems use. Classes may follow each other; conditions and stripped letters are
// not supported in suffix rules. `grammar` gives the lemmas of irregular stems and
// of finite verbs. Throws BuildError.
void ReadHunspell(std::istream& aff, std::istream& dic, Grammar* grammar);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_HUNSPELL_SOURCE_H
