// The lexicon facade: open a lexicon file of either format, run words up or down
// through it and receive every result as a string.
#ifndef FENRA_OSTREN_FFST_H
#define FENRA_OSTREN_FFST_H

#include <fenra/export.h>
#include <fenra/ostrenfst.h>

#include <cstdio>
#include <string>
#include <vector>

namespace Pelko {
class LemmaMemory;
}

// An open lexicon. Made by Pelko::open_lexicon and released by
// Pelko::close_lexicon, together with its transducer. Several threads may look words
// up in it at once.
struct _QorLexicon {
  LkFst* fst = nullptr;  // owned; stays as it was loaded
  // Private: what a lemmatizer knows of its lexicon. Owned; null in other lexicons.
  Pelko::LemmaMemory* memory = nullptr;
};
typedef _QorLexicon QorLexicon;

typedef std::vector<std::string> TransducerOutput;

namespace Pelko {

using ::QorLexicon;
using ::TransducerOutput;

enum ErrorCode {
  VERIFIER_NO_ERROR = 0,
  VERIFIER_XEROX_NOT_INITTED = 1,    // not returned
  VERIFIER_CANNOT_OPEN_FILE = 2,     // the lexicon file could not be loaded
  VERIFIER_CANNOT_CLOSE_FILE = 3,    // not returned
  VERIFIER_CANNOT_READ_LEXICON = 4,  // not returned
  VERIFIER_CANNOT_BROKEN_FILE = 5,   // not returned
};

// Nothing to set up or to tear down: VERIFIER_NO_ERROR.
FENRA_API ErrorCode xfst_init();
FENRA_API ErrorCode xfst_destroy();

// Reads nothing; false.
FENRA_API bool not_used_verify_file_format(FILE* lexicon_file);

// 1 if `filename` contains ".att" anywhere, directories included, else 0.
FENRA_API int is_att_file(const char* filename);

// Loads AT&T text (is_att_file) or a binary transducer file. On success stores a
// new lexicon, which the caller closes, in *lex and returns VERIFIER_NO_ERROR;
// otherwise VERIFIER_CANNOT_OPEN_FILE, *lex untouched, with the loader's message
// on standard error.
FENRA_API ErrorCode open_lexicon(QorLexicon** lex, const char* filename);

// Releases the lexicon. Null is allowed. VERIFIER_NO_ERROR.
FENRA_API ErrorCode close_lexicon(QorLexicon* lex);

// Appends every result of the zero-terminated `word` to `output`, in the order
// found, each cut at 511 bytes, and returns the size of `output` afterwards. A
// transducer made for that has results without end; docs/transducer-format.md
// tells what can be expected of files.
FENRA_API int lookup(QorLexicon* lex, TransducerOutput& output, const char* word);
FENRA_API int lookdown(QorLexicon* lex, TransducerOutput& output, const char* word);

// Completion is not offered: -1, `output` untouched.
FENRA_API int lookdown(QorLexicon* lex, TransducerOutput& output, const char* word,
                       int completion_mode);

// 1 if `word` has at least one result upwards, else 0; 0 too when a million
// expanded states have not led to one.
FENRA_API int lookup_only_the_first(QorLexicon* lex, const char* word);

}  // namespace Pelko

#endif  // FENRA_OSTREN_FFST_H
