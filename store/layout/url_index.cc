#include "store/layout/url_index.h"

#include <cstring>
#include <memory>
#include <new>

#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::store {
namespace {

// Berkeley DB fills no less than a page. Most URLs have few ids.
constexpr size_t FIRST_READ_BYTES = PAGE_BYTES;
constexpr size_t FURTHER_READ_BYTES = 64 << 10;

// Ids of another size are those of a damaged store.
void take_ids(DBT* block, std::vector<guint64>* ids) {
  void* place = nullptr;
  DB_MULTIPLE_INIT(place, block);
  for (;;) {
    void* item = nullptr;
    guint32 size = 0;
    DB_MULTIPLE_NEXT(place, block, item, size);
    if (place == nullptr) {
      return;
    }
    guint64 id = 0;
    if (size == sizeof id) {
      memcpy(&id, item, sizeof id);
      ids->push_back(id);
    }
  }
}

}  // namespace

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
  guint32 operation = DB_SET;
  int read;
  try {
    std::vector<guint64> buffer(FIRST_READ_BYTES / sizeof(guint64));
    do {
      DBT block = output_item(buffer.data(), static_cast<guint32>(buffer.size() * sizeof(guint64)));
      read = cursor->get(cursor.get(), &key, &block, operation | DB_MULTIPLE);
      if (read == 0) {
        take_ids(&block, ids);
        buffer.resize(FURTHER_READ_BYTES / sizeof(guint64));
        operation = DB_NEXT_DUP;
      }
    } while (read == 0);
  } catch (const std::bad_alloc&) {
    return -1;
  }
  return read == DB_NOTFOUND ? 0 : read;
}

}  // namespace ostren::fenra::store
