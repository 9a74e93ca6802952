// The lemmatizer for words of web pages: any script, names, acronyms and foreign words with
// their endings, and words that no lexicon has.
#ifndef FENRA_WEB_LEMMATIZER_H
#define FENRA_WEB_LEMMATIZER_H

#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

// An ArticledbLemmatizerFunc. The lemma of a word, as a list of exactly one string that
// the caller owns: small letters without marks, the same whenever asked, in time linear
// in `length`. The form itself when nothing can be taken off; null only when
// `lemmatizer` is null.
//
// The form is a word as fenra's rules for the web give it: small letters and digits
// without marks, with hyphens and apostrophes inside; web addresses, file names and
// numbers with their points too. It counts as far as its first zero byte and need not be
// valid UTF-8. `lemmatizer` is a lexicon from articledb_simple_fst_lemmatizer_new; several
// threads may ask it at once, and both lemmatizers may be asked of one lexicon.
FENRA_API GList* articledb_web_lemmatizer_first_lemma(void* lemmatizer, const char* form,
                                                      int length);

FENRA_END_DECLS

#endif  // FENRA_WEB_LEMMATIZER_H
