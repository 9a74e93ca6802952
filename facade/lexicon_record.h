// The lexicons that have been used on a store, in the file "fenra.lexicon" of its
// directory: one version a line, in the order of their first use.
#ifndef FENRA_FACADE_LEXICON_RECORD_H
#define FENRA_FACADE_LEXICON_RECORD_H

namespace ostren::fenra {

// Adds the embedded lexicon to the record of the store in `path` unless it stands
// there. The record serves for advice only, so a failure to write it, or a file that
// somebody else has put there, is none of the caller's.
void record_lexicon(const char* path);

}  // namespace ostren::fenra

#endif  // FENRA_FACADE_LEXICON_RECORD_H
