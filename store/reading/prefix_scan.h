// All ids under the trigrams that begin with given bytes, read from end to end.
#ifndef FENRA_STORE_READING_PREFIX_SCAN_H
#define FENRA_STORE_READING_PREFIX_SCAN_H

#include <glib.h>

#include "store/articledb.h"

namespace ostren::fenra::store {

// Whether trigrams may wait outside of "trigramdb", where walking its keys does not meet them.
bool trigrams_may_wait(const ArticledbDb* db);

// Calls `visit(ids, id)` for every pair of "trigramdb" whose key begins with the prefix,
// by keys and under a key by ids: an id comes once a key. It stops at a key that is
// longer than any trigram. The gate is left after every 64 KiB, and nothing is kept in
// the store in between. Returns 0 or the code of what failed.
int scan_trigrams(ArticledbDb* db, const char* prefix, guint32 length,
                  void (*visit)(void* ids, guint64 id), void* ids);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_PREFIX_SCAN_H
