// The first result of a word, for callers that want nothing else.
#ifndef FENRA_LEXICON_FIRST_RESULT_H
#define FENRA_LEXICON_FIRST_RESULT_H

#include "lexicon/ostren_ffst.h"

namespace Pelko {

// Room for one result and its terminating zero; longer results are cut.
constexpr int RESULT_BUFFER_SIZE = 512;

// Writes the first string that lookup would append for the zero-terminated
// `word` into `result` and returns true; returns false when there is none.
// Allocates nothing.
bool first_result(const QorLexicon& lex, const char* word, char (&result)[RESULT_BUFFER_SIZE]);

}  // namespace Pelko

#endif  // FENRA_LEXICON_FIRST_RESULT_H
