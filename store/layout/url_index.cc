#include "store/layout/url_index.h"

#include <memory>
#include <new>

#include "store/layout/database.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::store {

int read_ids_of_url(ArticledbDb* db, std::string_view url, std::vector<guint64>* ids) {
  DBC* opened = nullptr;
  const int ret = db->urlidx->cursor(db->urlidx, nullptr, &opened, 0);
  if (ret != 0) {
    return ret;
  }
  struct Closer {
    void operator()(DBC* c) const { c->close(c); }
  };
  const std::unique_ptr<DBC, Closer> cursor(opened);
  const StoredKey stored(url);
  DBT key = input_item(stored.bytes());
  guint64 id = 0;
  DBT data = output_item(&id, sizeof id);
  guint32 operation = DB_SET;
  int read;
  while ((read = cursor->get(cursor.get(), &key, &data, operation)) == 0) {
    try {
      ids->push_back(id);
    } catch (const std::bad_alloc&) {
      return -1;
    }
    operation = DB_NEXT_DUP;
  }
  return read == DB_NOTFOUND ? 0 : read;
}

}  // namespace ostren::fenra::store
