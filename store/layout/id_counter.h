// The id counter in "iddb": the highest id of an article that the databases have.
#ifndef FENRA_STORE_LAYOUT_ID_COUNTER_H
#define FENRA_STORE_LAYOUT_ID_COUNTER_H

#include <glib.h>

#include "base/failed.h"
#include "store/articledb.h"
#include "store/layout/database.h"

namespace ostren::fenra::store {

// Berkeley DB's code: DB_NOTFOUND when there is none.
inline int read_id_counter(ArticledbDb* db, guint64* last_id) {
  DBT key = input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);
  DBT data = output_item(last_id, sizeof *last_id);
  return db->iddb->get(db->iddb, nullptr, &key, &data, 0);
}

// 0 where there is none. Throws Failed.
inline guint64 require_id_counter(ArticledbDb* db) {
  guint64 last_id = 0;
  const int ret = read_id_counter(db, &last_id);
  require(ret == DB_NOTFOUND ? 0 : ret);
  return last_id;
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_ID_COUNTER_H
