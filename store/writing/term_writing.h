// Writing the terms of an article to the databases at once, without the journal.
#ifndef FENRA_STORE_WRITING_TERM_WRITING_H
#define FENRA_STORE_WRITING_TERM_WRITING_H

#include <glib.h>

#include "store/article/article_terms.h"
#include "store/article/known_pairs.h"
#include "store/articledb.h"

namespace ostren::fenra::store {

// Writes the portion under the id, but for the pairs that are known to be on disk; can be
// repeated. Returns 0 or the code of the write that failed, or WRITES_LOST. The writes take
// place in the order of terms(): whatever ends them, of forms and trigrams those up to some
// point are in the store.
int write_terms(ArticledbTransaction* t, const ArticleTerms& terms, KnownPairs* known, guint64 id);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_TERM_WRITING_H
