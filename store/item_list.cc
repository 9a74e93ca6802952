// Lists of the data items under a key, read in batches.
#include <cerrno>
#include <cstring>

#include "store/cursor.h"
#include "store/database.h"

namespace ostren {
namespace fenra {
namespace store {
namespace {

// The first batch is small, since most lists are short and a prefix can open a very
// great number of them; then they grow.
constexpr guint32 FIRST_ITEMS = 16;
constexpr guint32 GROWTH = 8;
constexpr guint32 MAX_ITEMS = 4096;
// Room for a bulk read; Berkeley DB wants a page at least, and whole KiB.
constexpr guint32 SMALL_BULK_BYTES = 4096;
constexpr guint32 BULK_BYTES = 65536;
constexpr guint32 MAX_BATCH_BYTES = 65536;

guint32 item_length(const char* batch, guint32 offset) {
  guint32 length;
  memcpy(&length, batch + offset, sizeof length);
  return length;
}

guint32 following(const char* batch, guint32 offset) {
  return offset + static_cast<guint32>(sizeof(guint32)) + item_length(batch, offset);
}

bool has_numeric_order(DatabaseField database) {
  return database != &ArticledbDb::lemmadb && database != &ArticledbDb::urlidx;
}

guint32 successor_room(const DBT& item) { return item.size + 1; }

// Writes the least item that comes after the given one in the order of the database to
// `out`, which has successor_room. Returns its length, 0 when there is none.
guint32 write_successor(DatabaseField database, const DBT& item, char* out) {
  if (has_numeric_order(database) && item.size == sizeof(guint64)) {
    guint64 id;
    memcpy(&id, item.data, sizeof id);
    ++id;
    memcpy(out, &id, sizeof id);
    return id == 0 ? 0 : sizeof id;
  }
  memcpy(out, item.data, item.size);
  out[item.size] = '\0';
  return item.size + 1;
}

// Calls `visit(bytes, length)` for the items of a bulk read until it says no.
template <typename Visit>
void visit_items(const DBT& bulk, Visit visit) {
  void* position;
  DB_MULTIPLE_INIT(position, &bulk);
  for (;;) {
    void* bytes = nullptr;
    guint32 length = 0;
    DB_MULTIPLE_NEXT(position, &bulk, bytes, length);
    if (position == nullptr || !visit(static_cast<const char*>(bytes), length)) {
      return;
    }
  }
}

char* append_item(char* out, const void* bytes, guint32 length) {
  memcpy(out, &length, sizeof length);
  if (length != 0) {
    memcpy(out + sizeof length, bytes, length);
  }
  return out + sizeof length + length;
}

}  // namespace

bool ItemList::knows(guint32 operation) {
  return operation == DB_SET || operation == DB_NEXT_DUP || operation == DB_CURRENT;
}

DBT ItemList::standing() const {
  return batch == nullptr ? DBT{}
                          : input_item(batch + place + sizeof(guint32), item_length(batch, place));
}

bool ItemList::start_at(const DBT& list_key, const DBT& item) {
  key = static_cast<char*>(g_try_malloc(MAX(list_key.size, 1U)));
  if (key == nullptr) {
    return false;
  }
  if (list_key.size != 0) {
    memcpy(key, list_key.data, list_key.size);
  }
  key_length = list_key.size;
  return item.data == nullptr || take(&item, DBT{});
}

void ItemList::release() {
  g_free(key);
  g_free(batch);
  *this = ItemList{};
}

int ItemList::read(Cursor* cursor, guint32 operation, ArticledbBuffer* data) {
  if (operation != DB_SET && !stands()) {
    return EINVAL;
  }
  if (operation == DB_CURRENT) {
    return deliver(place, data);
  }
  guint32 next = operation == DB_SET ? 0 : following(batch, place);
  if (operation == DB_SET || next == batch_length) {
    const int ret = refill(cursor, operation);
    if (ret != 0) {
      return ret;
    }
    next = operation == DB_SET ? 0 : following(batch, place);
  }
  return deliver(next, data);
}

int ItemList::deliver(guint32 offset, ArticledbBuffer* data) {
  data->length = item_length(batch, offset);
  if (data->length > data->capacity) {
    return DB_BUFFER_SMALL;
  }
  if (data->length != 0) {
    memcpy(data->data, batch + offset + sizeof(guint32), data->length);
  }
  place = offset;
  return 0;
}

// Replaces the batch by the item the list stands on and those that follow it now.
int ItemList::refill(Cursor* cursor, guint32 operation) {
  next_items = next_items == 0 ? FIRST_ITEMS : MIN(next_items * GROWTH, MAX_ITEMS);
  guint32 size = next_items > FIRST_ITEMS * GROWTH ? BULK_BYTES : SMALL_BULK_BYTES;
  int ret;
  // An item may be longer than any buffer that is made for many.
  while ((ret = fetch(cursor, operation, size)) == DB_BUFFER_SMALL && size < (1U << 31)) {
    size *= 2;
  }
  return ret;
}

int ItemList::fetch(Cursor* cursor, guint32 operation, guint32 size) {
  return run_in_gate(cursor->db, [&] {
    ArticledbDb* db = cursor->db;
    const DBT last = standing();
    if (operation != DB_SET && successor_room(last) > size) {
      return DB_BUFFER_SMALL;
    }
    auto* buffer = static_cast<char*>(gate_scratch(db, size));
    if (buffer == nullptr) {
      return ENOMEM;
    }
    DBT search = cursor->list_key();
    DBT bulk = output_item(buffer, size);
    guint32 flags = DB_SET | DB_MULTIPLE;
    if (operation != DB_SET) {
      bulk.size = write_successor(cursor->database, last, buffer);
      if (bulk.size == 0) {
        return DB_NOTFOUND;
      }
      flags = DB_GET_BOTH_RANGE | DB_MULTIPLE;
    }
    DB* database = db->*cursor->database;
    DBC* dbc = nullptr;
    int ret = database->cursor(database, nullptr, &dbc, 0);
    if (ret == 0) {
      ret = dbc->get(dbc, &search, &bulk, flags);
      const int closed = dbc->close(dbc);
      ret = ret != 0 ? ret : closed;
    }
    if (ret == 0 && !take(operation == DB_SET ? nullptr : &last, bulk)) {
      ret = ENOMEM;
    }
    return ret;
  });
}

// Makes a batch of the item that the list stands on, if there is one, and of those of
// a bulk read, if there was one. The list then stands on the first one.
bool ItemList::take(const DBT* first, const DBT& bulk) {
  guint32 items = 0;
  guint32 length = 0;
  if (first != nullptr) {
    length += static_cast<guint32>(sizeof(guint32)) + first->size;
  }
  const auto count = [&](const char*, guint32 size) {
    if (items == next_items || (items != 0 && length > MAX_BATCH_BYTES)) {
      return false;
    }
    ++items;
    length += static_cast<guint32>(sizeof size) + size;
    return true;
  };
  if (bulk.data != nullptr) {
    visit_items(bulk, count);
  }
  auto* bytes = static_cast<char*>(g_try_malloc(length));
  if (bytes == nullptr) {
    return false;
  }
  char* end = bytes;
  if (first != nullptr) {
    end = append_item(end, first->data, first->size);
  }
  if (bulk.data != nullptr) {
    visit_items(bulk, [&](const char* item, guint32 size) {
      end = append_item(end, item, size);
      return --items != 0;
    });
  }
  g_free(batch);
  batch = bytes;
  batch_length = length;
  place = 0;
  return true;
}

DBT Cursor::list_key() const {
  return list.key != nullptr ? input_item(list.key, list.key_length)
                             : input_item(head.key.data, head.key.size);
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
