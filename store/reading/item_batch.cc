#include "store/reading/item_batch.h"

#include <cstring>
#include <new>
#include <utility>

namespace ostren::fenra::store {
namespace {

constexpr guint32 ID_BYTES = sizeof(guint64);
constexpr guint32 LENGTH_BYTES = sizeof(guint32);
constexpr guint32 MOST_BATCH_BYTES = 65536;
// How what was packed begins: with this, or the bytes of a difference between two ids. The
// first id follows, and then the differences of each from the one before.
constexpr char OF_TEXTS = 0;

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

template <typename Difference>
void pack_ids(const guint64* ids, guint32 count, char* out) {
  for (guint32 i = 1; i < count; ++i) {
    const auto difference = static_cast<Difference>(ids[i] - ids[i - 1]);
    memcpy(out + (i - 1) * sizeof difference, &difference, sizeof difference);
  }
}

// The differences are those of the ids behind the first one.
template <typename Difference>
void unpack_ids(const char* differences, guint32 count, guint64* ids) {
  guint64 last = ids[0];
  for (guint32 i = 1; i < count; ++i) {
    Difference difference;
    memcpy(&difference, differences + (i - 1) * sizeof difference, sizeof difference);
    ids[i] = last += difference;
  }
}

// Calls `run` with a number of the type that has `width` bytes.
template <typename Run>
void with_type_of(guint32 width, Run run) {
  switch (width) {
    case 1:
      return run(guint8{});
    case 2:
      return run(guint16{});
    case 4:
      return run(guint32{});
    default:
      return run(guint64{});
  }
}

guint32 width_of_differences(const guint64* ids, guint32 count) {
  guint64 most = 0;
  for (guint32 i = 1; i < count; ++i) {
    most = MAX(most, ids[i] - ids[i - 1]);
  }
  return most <= G_MAXUINT8 ? 1 : most <= G_MAXUINT16 ? 2 : most <= G_MAXUINT32 ? 4 : 8;
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
  if (!taken.begin(first, all_ids ? size_t{items} * ID_BYTES : bytes, all_ids)) {
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

bool ItemBatch::take_ids(const DBT* first, const std::vector<guint64>& ids) {
  ItemBatch taken;
  if (!taken.begin(first, ids.size() * ID_BYTES, true)) {
    return false;
  }
  for (const guint64& id : ids) {
    taken.append(&id, ID_BYTES);
  }
  *this = std::move(taken);
  return true;
}

bool ItemBatch::take_texts(const DBT* first, const std::vector<std::string_view>& texts) {
  size_t bytes = 0;
  for (const std::string_view text : texts) {
    bytes += LENGTH_BYTES + text.size();
  }
  ItemBatch taken;
  if (!taken.begin(first, bytes, false)) {
    return false;
  }
  for (const std::string_view text : texts) {
    taken.append(text.data(), static_cast<guint32>(text.size()));
  }
  *this = std::move(taken);
  return true;
}

void ItemBatch::drop_above(guint64 most) {
  while (length_ != 0 && ids_end()[-1] > most) {
    length_ -= ID_BYTES;
  }
}

std::string_view ItemBatch::pack(guint32 offset, char* out) const {
  const char* const begin = reinterpret_cast<const char*>(memory_.get()) + offset;
  guint32 bytes = length_ - offset;
  out[0] = OF_TEXTS;
  if (holds_ids_) {
    const guint64* const packed = ids() + offset / ID_BYTES;
    const guint32 count = bytes / ID_BYTES;
    const guint32 width = width_of_differences(packed, count);
    out[0] = static_cast<char>(width);
    memcpy(out + 1, packed, ID_BYTES);
    with_type_of(width,
                 [&](auto type) { pack_ids<decltype(type)>(packed, count, out + 1 + ID_BYTES); });
    bytes = ID_BYTES + (count - 1) * width;
  } else {
    memcpy(out + 1, begin, bytes);
  }
  return {out, 1 + bytes};
}

bool ItemBatch::unpack(const DBT* first, std::string_view packed) {
  const guint32 width = static_cast<guint8>(packed[0]);
  packed.remove_prefix(1);
  if (first != nullptr && width != OF_TEXTS && first->size != ID_BYTES) {
    return false;
  }
  auto bytes = static_cast<guint32>(packed.size());
  const guint32 count = width == OF_TEXTS ? 0 : 1 + (bytes - ID_BYTES) / width;
  bytes = width == OF_TEXTS ? bytes : count * ID_BYTES;
  ItemBatch taken;
  if (!taken.begin(first, bytes, width != OF_TEXTS)) {
    return false;
  }
  if (width == OF_TEXTS) {
    memcpy(taken.end(), packed.data(), bytes);
  } else {
    memcpy(taken.end(), packed.data(), ID_BYTES);
    with_type_of(width, [&](auto type) {
      unpack_ids<decltype(type)>(packed.data() + ID_BYTES, count,
                                 reinterpret_cast<guint64*>(taken.end()));
    });
  }
  taken.length_ += bytes;
  *this = std::move(taken);
  return true;
}

}  // namespace ostren::fenra::store
