// Lists of the data items under a key, read in batches.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "store/layout/database.h"
#include "store/memory.h"
#include "store/reading/cursor.h"
#include "store/reading/read_memory.h"

namespace ostren::fenra::store {
namespace {

// The first batch is small, since most lists are short, but no smaller than what the
// least bulk read brings; then they grow.
constexpr guint32 FIRST_ITEMS = 256;
constexpr guint32 GROWTH = 16;
constexpr guint32 MAX_ITEMS = 4096;
// Batches that are jumped to begin with a multiple, so that the next jump near there finds
// the same one.
constexpr guint64 BLOCK_IDS = 256;
// Room for a bulk read; Berkeley DB wants a page at least, and whole KiB.
constexpr guint32 SMALL_BULK_BYTES = 4096;
constexpr guint32 BULK_BYTES = 65536;
constexpr guint32 MAX_BATCH_BYTES = 65536;

// Of a batch that is not kept: no code of Berkeley DB or the system.
constexpr int UNKNOWN = G_MAXINT;

constexpr guint32 ID_BYTES = sizeof(guint64);
constexpr guint32 LENGTH_BYTES = sizeof(guint32);

bool has_numeric_order(DatabaseField database) {
  return database != &ArticledbDb::lemmadb && database != &ArticledbDb::urlidx;
}

guint32 successor_room(const DBT& item) { return item.size + 1; }

// Writes the least item that comes after the given one in the order of the database to
// `out`, which has successor_room. Returns its length, 0 when there is none.
guint32 write_successor(DatabaseField database, const DBT& item, char* out) {
  if (has_numeric_order(database) && item.size == ID_BYTES) {
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

char* append_id(char* out, const void* bytes) {
  memcpy(out, bytes, ID_BYTES);
  return out + ID_BYTES;
}

guint64 id_at(const char* bytes) {
  guint64 id;
  memcpy(&id, bytes, sizeof id);
  return id;
}

}  // namespace

bool ItemList::knows(guint32 operation) {
  return operation == DB_SET || operation == DB_NEXT_DUP || operation == DB_CURRENT;
}

guint32 ItemList::length_at(guint32 offset) const {
  if (of_ids) {
    return ID_BYTES;
  }
  guint32 length;
  memcpy(&length, batch + offset, sizeof length);
  return length;
}

const char* ItemList::bytes_at(guint32 offset) const {
  return batch + offset + (of_ids ? 0 : LENGTH_BYTES);
}

guint32 ItemList::following(guint32 offset) const {
  return offset + (of_ids ? 0 : LENGTH_BYTES) + length_at(offset);
}

DBT ItemList::standing() const {
  return batch == nullptr ? DBT{} : input_item(bytes_at(place), length_at(place));
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
  guint32 next = operation == DB_SET ? 0 : following(place);
  if (operation == DB_SET || next == batch_length) {
    const int ret = refill(cursor, operation, nullptr);
    if (ret != 0) {
      return ret;
    }
    next = operation == DB_SET ? 0 : following(place);
  }
  return deliver(next, data);
}

int ItemList::read_from(Cursor* cursor, guint64 least, ArticledbBuffer* data) {
  if (!stands() || !of_ids || !has_numeric_order(cursor->database) ||
      least <= id_at(batch + place)) {
    return read(cursor, DB_NEXT_DUP, data);
  }
  const auto* ids = reinterpret_cast<const guint64*>(batch);
  Ids ahead = {ids + following(place) / ID_BYTES, ids + batch_length / ID_BYTES};
  ahead.drop_below(least);
  if (ahead.empty()) {
    // Who goes on far behind the batch will hardly want all of the next one; what is
    // wanted of the list is read from end to end otherwise. The first id may be far before
    // the others.
    const guint64 last = ahead.end[-1];
    const guint64 block = least - least % BLOCK_IDS;
    const bool far = block > last && least - last > last - ids[batch_length > ID_BYTES ? 1 : 0];
    if (far) {
      next_items = 0;
    }
    place = batch_length - ID_BYTES;
    const int ret = refill(cursor, DB_NEXT_DUP, far ? &block : nullptr);
    return ret == 0 ? read_from(cursor, least, data) : ret;
  }
  return deliver(static_cast<guint32>(ahead.begin - ids) * ID_BYTES, data);
}

int ItemList::deliver(guint32 offset, ArticledbBuffer* data) {
  data->length = length_at(offset);
  if (data->length > data->capacity) {
    return DB_BUFFER_SMALL;
  }
  if (data->length != 0) {
    memcpy(data->data, bytes_at(offset), data->length);
  }
  place = offset;
  return 0;
}

// Replaces the batch by the item the list stands on and those that follow it now, or
// those of them that are not less than *least.
int ItemList::refill(Cursor* cursor, guint32 operation, const guint64* least) {
  next_items = next_items == 0 ? FIRST_ITEMS : MIN(next_items * GROWTH, MAX_ITEMS);
  guint32 size = next_items > FIRST_ITEMS ? BULK_BYTES : SMALL_BULK_BYTES;
  const BatchName name = name_next(cursor, operation, least);
  int ret = recall(cursor, operation, name);
  if (ret != UNKNOWN) {
    return ret;
  }
  // An item may be longer than any buffer that is made for many.
  while ((ret = fetch(cursor, operation, least, size, name)) == DB_BUFFER_SMALL &&
         size < (1U << 31)) {
    size *= 2;
  }
  return ret;
}

int ItemList::fetch(Cursor* cursor, guint32 operation, const guint64* least, guint32 size,
                    const BatchName& name) {
  return read_in_gate(cursor->db, [&] {
    ArticledbDb* db = cursor->db;
    const DBT last = standing();
    if (operation != DB_SET && successor_room(last) > size) {
      return DB_BUFFER_SMALL;
    }
    auto* buffer = static_cast<char*>(db->memory->reading->scratch(size));
    if (buffer == nullptr) {
      return ENOMEM;
    }
    DBT search = cursor->list_key();
    DBT bulk = output_item(buffer, size);
    guint32 flags = DB_SET | DB_MULTIPLE;
    if (operation != DB_SET) {
      if (least != nullptr) {
        memcpy(buffer, least, sizeof *least);
        bulk.size = sizeof *least;
      } else {
        bulk.size = write_successor(cursor->database, last, buffer);
      }
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
    if (ret == 0 || ret == DB_NOTFOUND) {
      keep(cursor, operation, gate_changes(db), name, ret);
    }
    return ret;
  });
}

// The name of the next batch in what the handle keeps of lists.
BatchName ItemList::name_next(const Cursor* cursor, guint32 operation, const guint64* least) const {
  constexpr guint32 NONE = G_MAXUINT32;
  constexpr guint32 LEAST = NONE - 1;
  const DBT last = least != nullptr ? input_item(least, sizeof *least) : standing();
  const guint32 last_length = operation == DB_SET ? NONE : least != nullptr ? LEAST : last.size;
  const DBT list_key = cursor->list_key();
  BatchName name;
  name.append(&cursor->database, sizeof cursor->database);
  name.append(&next_items, sizeof next_items);
  name.append(&last_length, sizeof last_length);
  if (operation != DB_SET) {
    name.append(last.data, last.size);
  }
  name.append(list_key.data, list_key.size);
  return name;
}

// Keeps the batch that was read, without what the list stood on before, or that there
// was none.
void ItemList::keep(Cursor* cursor, guint32 operation, guint64 changes, const BatchName& name,
                    int code) {
  ListCache* lists = lists_of(cursor->db);
  const guint32 begin = code != 0 ? batch_length : operation == DB_SET ? 0 : following(0);
  if (code != 0 || of_ids) {
    const auto* ids = reinterpret_cast<const guint64*>(batch + begin);
    lists->keep_ids(name, changes, ids, (batch_length - begin) / ID_BYTES);
  } else {
    lists->keep_items(name, changes, batch + begin, batch_length - begin);
  }
}

// Takes the next batch from what is kept: 0, DB_NOTFOUND, ENOMEM; or UNKNOWN.
int ItemList::recall(Cursor* cursor, guint32 operation, const BatchName& name) {
  ListCache* lists = lists_of(cursor->db);
  ListCache::Batch kept;
  if (lists == nullptr || !lists->find(name, gate_changes(cursor->db), &kept)) {
    return UNKNOWN;
  }
  if (kept.length == 0) {
    return DB_NOTFOUND;
  }
  const DBT last = operation == DB_SET ? DBT{} : standing();
  const bool follows = operation != DB_SET;
  if (follows && (last.size == ID_BYTES) != kept.of_ids()) {
    return UNKNOWN;
  }
  const guint32 begin = !follows        ? 0
                        : kept.of_ids() ? ID_BYTES
                                        : LENGTH_BYTES + static_cast<guint32>(last.size);
  const guint32 length = begin + (kept.of_ids() ? kept.items * ID_BYTES : kept.length);
  auto* bytes = static_cast<char*>(g_try_malloc(length));
  if (bytes == nullptr) {
    return ENOMEM;
  }
  if (follows && kept.of_ids()) {
    append_id(bytes, last.data);
  } else if (follows) {
    append_item(bytes, last.data, last.size);
  }
  if (kept.of_ids()) {
    ListCache::decode(kept, reinterpret_cast<guint64*>(bytes + begin));
  } else {
    memcpy(bytes + begin, kept.bytes, kept.length);
  }
  g_free(batch);
  batch = bytes;
  batch_length = length;
  place = 0;
  of_ids = kept.of_ids();
  return 0;
}

// Makes a batch of the item that the list stands on, if there is one, and of those of
// a bulk read, if there was one. The list then stands on the first one.
bool ItemList::take(const DBT* first, const DBT& bulk) {
  guint32 items = 0;
  guint32 length = 0;  // with the items' lengths
  bool all_ids = true;
  const auto count = [&](const char*, guint32 size) {
    if (items == next_items || (items != 0 && length > MAX_BATCH_BYTES)) {
      return false;
    }
    ++items;
    length += LENGTH_BYTES + size;
    all_ids = all_ids && size == ID_BYTES;
    return true;
  };
  if (first != nullptr) {
    length += LENGTH_BYTES + first->size;
    all_ids = first->size == ID_BYTES;
  }
  if (bulk.data != nullptr) {
    visit_items(bulk, count);
  }
  if (all_ids) {
    length = (items + (first != nullptr ? 1 : 0)) * ID_BYTES;
  }
  auto* bytes = static_cast<char*>(g_try_malloc(length));
  if (bytes == nullptr) {
    return false;
  }
  char* end = bytes;
  const auto append = [&](const void* item, guint32 size) {
    end = all_ids ? append_id(end, item) : append_item(end, item, size);
  };
  if (first != nullptr) {
    append(first->data, first->size);
  }
  if (items != 0) {
    visit_items(bulk, [&](const char* item, guint32 size) {
      append(item, size);
      return --items != 0;
    });
  }
  g_free(batch);
  batch = bytes;
  batch_length = length;
  place = 0;
  of_ids = all_ids ? TRUE : FALSE;
  return true;
}

void Ids::drop_below(guint64 least) {
  gsize step = 1;
  while (begin != end && *begin < least) {
    // All up to `low` are less.
    const guint64* low = begin;
    const gsize left = static_cast<gsize>(end - begin);
    step = MIN(step, left - 1);
    if (step != 0 && low[step] < least) {
      begin += step;
      step *= 2;
      continue;
    }
    begin = step == 0 ? low + 1 : std::lower_bound(low + 1, low + step, least);
    return;
  }
}

Ids cursor_take_ids(ArticledbCursor* cursor) {
  Cursor* c = cursor_of(cursor);
  ItemList* list = &c->list;
  if (!c->lists || !list->stands() || !list->of_ids || cursor->next_op != DB_NEXT_DUP ||
      c->repeat_op != 0) {
    return {nullptr, nullptr};
  }
  const auto* ids = reinterpret_cast<const guint64*>(list->batch);
  const Ids taken = {ids + list->place / ID_BYTES + 1, ids + list->batch_length / ID_BYTES};
  list->place = list->batch_length - ID_BYTES;
  return taken;
}

DBT Cursor::list_key() const {
  return list.key != nullptr ? input_item(list.key, list.key_length)
                             : input_item(head.key.data, head.key.size);
}

}  // namespace ostren::fenra::store
