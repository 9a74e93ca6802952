#include "store/reading/item_batch.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace ostren::fenra::store {
namespace {

constexpr guint32 ID_BYTES = sizeof(guint64);
constexpr guint32 LENGTH_BYTES = sizeof(guint32);
constexpr guint32 MOST_BATCH_BYTES = 65536;
// Of an id that is packed: the difference from the one before, 7 bits a byte.
constexpr guint32 MOST_ID_BYTES = 10;
// How what was packed begins.
constexpr char OF_IDS = 'i';
constexpr char OF_TEXTS = 't';

// Calls `visit(bytes, length)` for the items of a bulk read until it says no.
template <typename Visit>
void visit_items(const DBT& bulk, Visit visit) {
  if (bulk.data == nullptr) {
    return;
  }
  void* position;
  DB_MULTIPLE_INIT(position, &bulk);
  for (;;) {
    void* bytes = nullptr;
    guint32 length = 0;
    DB_MULTIPLE_NEXT(position, &bulk, bytes, length);
    if (position == nullptr || !visit(bytes, length)) {
      return;
    }
  }
}

bool ends_number(char byte) { return static_cast<guint8>(byte) < 0x80; }

char* pack_ids(const guint64* ids, const guint64* end, char* out) {
  guint64 last = 0;
  for (; ids != end; ++ids) {
    guint64 difference = *ids - last;
    last = *ids;
    for (; difference >= 0x80; difference >>= 7) {
      *out++ = static_cast<char>(difference | 0x80);
    }
    *out++ = static_cast<char>(difference);
  }
  return out;
}

// The bytes are those of pack_ids().
void unpack_ids(std::string_view packed, guint64* out) {
  guint64 last = 0;
  guint64 difference = 0;
  guint32 shift = 0;
  for (const char byte : packed) {
    difference |= guint64{static_cast<guint8>(byte) & 0x7fU} << shift;
    shift += 7;
    if (ends_number(byte)) {
      last += difference;
      *out++ = last;
      difference = 0;
      shift = 0;
    }
  }
}

}  // namespace

std::string_view ItemBatch::at(guint32 offset) const {
  const char* const item = reinterpret_cast<const char*>(memory_.get()) + offset;
  if (holds_ids_) {
    return {item, ID_BYTES};
  }
  guint32 length;
  memcpy(&length, item, sizeof length);
  return {item + LENGTH_BYTES, length};
}

guint32 ItemBatch::following(guint32 offset) const {
  const std::string_view item = at(offset);
  return offset + (holds_ids_ ? 0 : LENGTH_BYTES) + static_cast<guint32>(item.size());
}

// Makes an empty batch one of `first`, if that is not null, with room for more. False when
// memory is short.
bool ItemBatch::begin(const DBT* first, size_t more_bytes, bool of_ids) {
  const size_t bytes = more_bytes + (first == nullptr ? 0 : LENGTH_BYTES + first->size);
  memory_.reset(new (std::nothrow) guint64[(bytes + ID_BYTES - 1) / ID_BYTES]);
  holds_ids_ = of_ids;
  if (memory_ != nullptr && first != nullptr) {
    append(first->data, first->size);
  }
  return memory_ != nullptr;
}

void ItemBatch::append(const void* item, guint32 length) {
  if (!holds_ids_) {
    memcpy(end(), &length, sizeof length);
    length_ += LENGTH_BYTES;
  }
  if (length != 0) {
    memcpy(end(), item, length);
    length_ += length;
  }
}

bool ItemBatch::take(const DBT* first, const DBT& bulk, guint32 most_items, bool may_hold_ids) {
  size_t bytes = 0;
  bool all_ids = may_hold_ids && (first == nullptr || first->size == ID_BYTES);
  guint32 items = 0;
  visit_items(bulk, [&](const void*, guint32 length) {
    if (items == most_items || bytes > MOST_BATCH_BYTES) {
      return false;
    }
    ++items;
    bytes += LENGTH_BYTES + length;
    all_ids = all_ids && length == ID_BYTES;
    return true;
  });
  ItemBatch taken;
  if (!taken.begin(first, all_ids ? items * ID_BYTES : bytes, all_ids)) {
    return false;
  }
  if (items != 0) {
    visit_items(bulk, [&](const void* item, guint32 length) {
      taken.append(item, length);
      return --items != 0;
    });
  }
  *this = std::move(taken);
  return true;
}

guint32 ItemBatch::most_packed_bytes() const {
  return 1 + (holds_ids_ ? length_ / ID_BYTES * MOST_ID_BYTES : length_);
}

std::string_view ItemBatch::pack(guint32 offset, char* out) const {
  out[0] = holds_ids_ ? OF_IDS : OF_TEXTS;
  char* end = out + 1;
  if (holds_ids_) {
    end = pack_ids(ids() + offset / ID_BYTES, ids_end(), end);
  } else if (offset != length_) {
    memcpy(end, reinterpret_cast<const char*>(memory_.get()) + offset, length_ - offset);
    end += length_ - offset;
  }
  return {out, static_cast<size_t>(end - out)};
}

bool ItemBatch::unpack(const DBT* first, std::string_view packed) {
  const bool of_ids = packed[0] == OF_IDS;
  packed.remove_prefix(1);
  if (first != nullptr && of_ids && first->size != ID_BYTES) {
    return false;
  }
  const size_t items =
      static_cast<size_t>(std::count_if(packed.begin(), packed.end(), ends_number));
  ItemBatch taken;
  if (!taken.begin(first, of_ids ? items * ID_BYTES : packed.size(), of_ids)) {
    return false;
  }
  if (of_ids) {
    unpack_ids(packed, reinterpret_cast<guint64*>(taken.end()));
    taken.length_ += static_cast<guint32>(items) * ID_BYTES;
  } else {
    packed.copy(taken.end(), packed.size());
    taken.length_ += static_cast<guint32>(packed.size());
  }
  *this = std::move(taken);
  return true;
}

}  // namespace ostren::fenra::store
