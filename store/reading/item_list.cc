#include "store/reading/item_list.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/reading/read_memory.h"
#include "store/waiting/waiting_view.h"

namespace ostren::fenra::store {
namespace {

// The first batch is small, since most lists are short, but no smaller than what the
// least bulk read brings.
constexpr guint32 FIRST_ITEMS = 256;
constexpr guint32 MOST_ITEMS = 4096;
// Batches that are jumped to begin with a multiple, so that the next jump near there finds
// the same one.
constexpr guint64 BLOCK_IDS = 256;
// Room for a bulk read; Berkeley DB wants a page at least, and whole KiB.
constexpr guint32 SMALL_BULK_BYTES = 4096;
constexpr guint32 BULK_BYTES = 65536;

bool has_ids(DatabaseField database) {
  return database != &ArticledbDb::lemmadb && database != &ArticledbDb::urlidx;
}

}  // namespace

// Where a batch starts: at the least item that is not less than some bytes, with a zero byte
// behind them for those that are greater; or at the first item of the list.
struct ItemList::Start {
  std::string_view bytes;
  bool zero_behind;
  bool follows;  // the item that the list stands on, which stays

  guint32 length() const { return static_cast<guint32>(bytes.size()) + (zero_behind ? 1 : 0); }
  void write(char* out) const {
    bytes.copy(out, bytes.size());
    if (zero_behind) {
      out[bytes.size()] = '\0';
    }
  }
};

void ReadAhead::drop_below(guint64 id) {
  gsize step = 1;
  while (begin != end && *begin < id) {
    // All up to `low` are less.
    const guint64* low = begin;
    step = MIN(step, static_cast<gsize>(end - begin) - 1);
    if (step != 0 && low[step] < id) {
      begin += step;
      step *= 2;
      continue;
    }
    begin = step == 0 ? low + 1 : std::lower_bound(low + 1, low + step, id);
    return;
  }
}

bool ItemList::knows(guint32 operation) {
  return operation == DB_SET || operation == DB_NEXT_DUP || operation == DB_CURRENT;
}

// The offset of the item it stands on. Of ids it is the one before those read ahead.
guint32 ItemList::place() const {
  return batch_.holds_ids()
             ? static_cast<guint32>((ahead_.begin - batch_.ids() - 1) * sizeof(guint64))
             : place_;
}

void ItemList::stand_at(guint32 offset) {
  place_ = offset;
  ahead_ = {};
  if (batch_.holds_ids()) {
    ahead_.begin = batch_.ids() + offset / sizeof(guint64) + 1;
    ahead_.end = batch_.ids_end();
  }
}

DBT ItemList::standing() const { return stands() ? input_item(batch_.at(place())) : DBT{}; }

bool ItemList::start_at(const DBT& item) {
  if (item.data == nullptr) {
    return true;
  }
  const bool taken = batch_.take(&item, DBT{}, 0, false);
  stand_at(0);
  return taken;
}

int ItemList::read(const Source& source, guint32 operation, ArticledbBuffer* data) {
  if (operation == DB_SET) {
    const int ret = refill(source, {});
    return ret == 0 ? deliver(0, data) : ret;
  }
  if (!stands()) {
    return EINVAL;
  }
  if (operation == DB_CURRENT) {
    return deliver(place(), data);
  }
  const guint64 least = std::exchange(ahead_.least, 0);
  ahead_.drop_below(least);
  while (batch_.following(place()) == batch_.length()) {
    const int ret = read_on(source, least);
    if (ret != 0) {
      return ret;
    }
    ahead_.drop_below(least);
  }
  return deliver(batch_.following(place()), data);
}

int ItemList::deliver(guint32 offset, ArticledbBuffer* data) {
  const std::string_view item = batch_.at(offset);
  data->length = static_cast<guint32>(item.size());
  if (data->length > data->capacity) {
    return DB_BUFFER_SMALL;
  }
  item.copy(static_cast<char*>(data->data), item.size());
  stand_at(offset);
  return 0;
}

// Reads the items behind the batch, of which it stands on the last one, or of ids those from
// near `least` on.
int ItemList::read_on(const Source& source, guint64 least) {
  const std::string_view last_item = batch_.at(place());
  if (!has_ids(source.database) || last_item.size() != sizeof(guint64)) {
    return refill(source, {last_item, true, true});
  }
  guint64 last;
  memcpy(&last, last_item.data(), sizeof last);
  guint64 next = last + 1;
  if (next == 0) {
    return DB_NOTFOUND;
  }
  // Who goes on far behind the batch will hardly want all of the next one; what is wanted
  // of the list is read from end to end otherwise. The first id may be far before the
  // others.
  const guint64 block = least - least % BLOCK_IDS;
  if (batch_.holds_ids() && block > last) {
    const guint64* const ids = batch_.ids();
    const guint64 begin = ids[ids + 1 < batch_.ids_end() ? 1 : 0];
    if (least - last > last - begin) {
      next_items_ = 0;
      next = block;
    }
  }
  return refill(source, {{reinterpret_cast<const char*>(&next), sizeof next}, false, true});
}

// Replaces the batch by what follows the start, behind the item that the list stands on; it
// stands on the first one then.
int ItemList::refill(const Source& source, const Start& start) {
  const WaitingView* waiting = nullptr;
  const int ret = gate_waiting(source.db, &waiting);
  if (ret != 0) {
    return ret;
  }
  try {
    if (waiting != nullptr && WaitingView::has_lists(source.database)) {
      return refill_ids(source, start, *waiting);
    }
    return waiting != nullptr && source.database == &ArticledbDb::lemmadb
               ? refill_forms(source, start, *waiting)
               : refill_from_databases(source, start);
  } catch (const Failed& failed) {
    return failed.code;
  } catch (const std::exception&) {
    return ENOMEM;
  }
}

// Those that wait come behind all of the databases, where some may be in part.
int ItemList::refill_ids(const Source& source, const Start& start, const WaitingView& waiting) {
  guint64 least = 0;
  if (start.bytes.size() == sizeof least) {
    memcpy(&least, start.bytes.data(), sizeof least);
  }
  if (least <= waiting.base() && waiting.base() != 0) {
    const int ret = refill_from_databases(source, start);
    if (ret != 0 && ret != DB_NOTFOUND) {
      return ret;
    }
    if (ret == 0 && batch_.holds_ids()) {
      batch_.drop_above(waiting.base());
      stand_at(0);
    }
    if (ret == 0 && (start.follows ? batch_.following(0) != batch_.length() : !batch_.empty())) {
      return 0;
    }
  }
  std::vector<guint64> ids;
  const std::string_view key(static_cast<const char*>(source.key.data), source.key.size);
  waiting.read_ids(source.database, key, MAX(least, waiting.base() + 1), MOST_ITEMS, &ids);
  if (ids.empty()) {
    return DB_NOTFOUND;
  }
  const DBT last = standing();
  if (!batch_.take_ids(start.follows ? &last : nullptr, ids)) {
    return ENOMEM;
  }
  stand_at(0);
  return 0;
}

// A form that waits may be in the databases too.
int ItemList::refill_forms(const Source& source, const Start& start, const WaitingView& waiting) {
  const std::string after_bytes(start.bytes);
  const std::string_view after = after_bytes;
  const std::string_view key(static_cast<const char*>(source.key.data), source.key.size);
  const int ret = refill_from_databases(source, start);
  std::vector<std::string_view> forms = waiting.forms_of(key, start.follows ? &after : nullptr);
  if ((ret != 0 && ret != DB_NOTFOUND) || forms.empty()) {
    return ret;
  }
  if (ret == 0) {
    std::vector<std::string_view> stored;
    guint32 offset = start.follows ? batch_.following(0) : 0;
    for (; offset < batch_.length(); offset = batch_.following(offset)) {
      stored.push_back(batch_.at(offset));
    }
    // What is greater comes with a later batch.
    forms.erase(std::upper_bound(forms.begin(), forms.end(), stored.back()), forms.end());
    std::vector<std::string_view> united;
    std::set_union(forms.begin(), forms.end(), stored.begin(), stored.end(),
                   std::back_inserter(united));
    forms = std::move(united);
  }
  forms.resize(std::min<size_t>(forms.size(), MOST_ITEMS));
  const DBT last = standing();
  if (!batch_.take_texts(start.follows ? &last : nullptr, forms)) {
    return ENOMEM;
  }
  stand_at(0);
  return 0;
}

int ItemList::refill_from_databases(const Source& source, const Start& start) {
  next_items_ = next_items_ == 0 ? FIRST_ITEMS : MOST_ITEMS;
  const ReadName name = name_of(source, start);
  int ret = 0;
  if (!recall(source, start, name, &ret)) {
    // An item may be longer than any buffer that is made for many.
    guint32 room = next_items_ == FIRST_ITEMS ? SMALL_BULK_BYTES : BULK_BYTES;
    while ((ret = fetch(source, start, room, name)) == DB_BUFFER_SMALL && room < (1U << 31)) {
      room *= 2;
    }
  }
  if (ret == 0) {
    stand_at(0);
  }
  return ret;
}

int ItemList::fetch(const Source& source, const Start& start, guint32 room, const ReadName& name) {
  return read_in_gate(source.db, [&] {
    auto* const buffer = static_cast<char*>(source.db->memory->reading->scratch(room));
    if (buffer == nullptr) {
      return ENOMEM;
    }
    if (start.length() > room) {
      return DB_BUFFER_SMALL;
    }
    start.write(buffer);
    DBT key = source.key;
    DBT bulk = output_item(buffer, room);
    bulk.size = start.length();
    const guint32 operation = start.follows ? DB_GET_BOTH_RANGE : DB_SET;
    int ret = get_with_cursor(source.db->*source.database, &key, &bulk, operation | DB_MULTIPLE);
    const DBT last = standing();
    if (ret == 0 && !batch_.take(start.follows ? &last : nullptr, bulk, next_items_,
                                 has_ids(source.database))) {
      ret = ENOMEM;
    }
    if (ret == 0 || ret == DB_NOTFOUND) {
      keep(source, start, name, ret == 0);
    }
    return ret;
  });
}

ReadName ItemList::name_of(const Source& source, const Start& start) const {
  const guint32 length = start.follows ? start.length() : G_MAXUINT32;
  ReadName name;
  name.append(&source.database, sizeof source.database);
  name.append(&next_items_, sizeof next_items_);
  name.append(&length, sizeof length);
  name.append(start.bytes.data(), start.bytes.size());
  name.append("", start.zero_behind ? 1 : 0);
  name.append(source.key.data, source.key.size);
  return name;
}

// Keeps what was read, or that there was nothing. Under the gate, whose scratch is free.
void ItemList::keep(const Source& source, const Start& start, const ReadName& name,
                    bool found) const {
  std::string_view packed;
  if (found) {
    auto* const out =
        static_cast<char*>(source.db->memory->reading->scratch(batch_.most_packed_bytes()));
    if (out == nullptr) {
      return;
    }
    packed = batch_.pack(start.follows ? batch_.following(0) : 0, out);
  }
  read_cache_of(source.db)->keep(name, gate_changes(source.db), packed);
}

// Takes the batch from what is kept, if it is there; *code becomes DB_NOTFOUND when that is
// nothing.
bool ItemList::recall(const Source& source, const Start& start, const ReadName& name, int* code) {
  const ReadCache* const reads = read_cache_of(source.db);
  std::string_view packed;
  if (reads == nullptr || !reads->find(name, gate_changes(source.db), &packed)) {
    return false;
  }
  if (packed.empty()) {
    *code = DB_NOTFOUND;
    return true;
  }
  const DBT last = standing();
  return batch_.unpack(start.follows ? &last : nullptr, packed);
}

}  // namespace ostren::fenra::store
