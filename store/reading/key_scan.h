// The ids under all keys of a database that are wanted, for keys that do not lie together in it.
#ifndef FENRA_STORE_READING_KEY_SCAN_H
#define FENRA_STORE_READING_KEY_SCAN_H

#include <glib.h>

#include <functional>
#include <string_view>

#include "store/articledb.h"
#include "store/process/gate.h"

namespace ostren::fenra::store {

// Calls `visit(ids, id)` for every id under a key for which `wanted(key)` holds; the same one
// may come again. A hash database has no order that a walk could leave and find again, so the
// gate is held for all of it: a step for every key, and for every id that is visited. *changes
// becomes the number of the state of the store that was read (gate_changes). Returns 0 or the code
// of what failed.
int scan_keys(ArticledbDb* db, DatabaseField database,
              const std::function<bool(std::string_view)>& wanted,
              void (*visit)(void* ids, guint64 id), void* ids, guint64* changes);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_KEY_SCAN_H
