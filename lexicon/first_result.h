// The first result of a word, for callers that want nothing else.
#ifndef FENRA_LEXICON_FIRST_RESULT_H
#define FENRA_LEXICON_FIRST_RESULT_H

#include <cstddef>

#include "lexicon/ostren_ffst.h"

namespace Pelko {

// Room for one result and its terminating zero; longer results are cut.
constexpr int RESULT_BUFFER_SIZE = 512;

// States that the search for a first result expands at most. A transducer can make
// a search without results take exponential time, and every word of every text is
// searched for. No lexicon that passes the check of embedded ones gets there.
constexpr int MAX_EXPANSIONS = 1000000;

// Writes the first string that lookup would append for the zero-terminated
// `word` into `result` and returns true; returns false when there is none, or none
// within MAX_EXPANSIONS. Allocates nothing.
bool first_result(const QorLexicon& lex, const char* word, char (&result)[RESULT_BUFFER_SIZE]);

// The same for a key, whose first character no other entry begins with and arcs of the first
// state read: nothing but these is searched. Without a result for the key, none of its
// beginnings that is longer than *read has one either.
bool result_of_key(const QorLexicon& lex, const char* key, char (&result)[RESULT_BUFFER_SIZE],
                   size_t* read);

}  // namespace Pelko

#endif  // FENRA_LEXICON_FIRST_RESULT_H
