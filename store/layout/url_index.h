// The database "urlidx".
#ifndef FENRA_STORE_LAYOUT_URL_INDEX_H
#define FENRA_STORE_LAYOUT_URL_INDEX_H

#include <glib.h>

#include <string_view>
#include <vector>

#include "store/articledb.h"

namespace ostren::fenra::store {

// Adds all ids ever stored for a URL to `ids`, in no useful order. Under the gate; no cursor
// stays open. Returns 0, -1 when memory is short, or Berkeley DB's code.
int read_ids_of_url(ArticledbDb* db, std::string_view url, std::vector<guint64>* ids);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_URL_INDEX_H
