#include "store/list_cache.h"

#include <cstring>

namespace ostren {
namespace fenra {
namespace store {
namespace {

constexpr guint32 MAX_ID_BYTES = 10;

guint8* encode(guint64 number, guint8* out) {
  for (; number >= 0x80; number >>= 7) {
    *out++ = static_cast<guint8>(number | 0x80);
  }
  *out++ = static_cast<guint8>(number);
  return out;
}

}  // namespace

void BatchName::append(const void* bytes, guint32 length) {
  if (overflowed() || length > MAX_LENGTH - length_) {
    length_ = MAX_LENGTH + 1;
  } else if (length != 0) {
    memcpy(bytes_ + length_, bytes, length);
    length_ += length;
  }
}

// FNV-1a.
guint64 BatchName::hash() const {
  guint64 hash = 0xcbf29ce484222325;
  for (guint32 i = 0; i < length_; ++i) {
    hash = (hash ^ static_cast<guint8>(bytes_[i])) * 0x100000001b3;
  }
  return hash ^ hash >> 32;
}

bool ListCache::find(const BatchName& name, guint64 changes, Batch* batch) const {
  if (slots_ == nullptr || changes != changes_ || name.overflowed()) {
    return false;
  }
  const Slot& slot = *slot_of(name);
  if (slot.stamp != stamp_) {
    return false;
  }
  Entry entry;
  const guint8* at = &room_[slot.offset];
  memcpy(&entry, at, sizeof entry);
  at += sizeof entry;
  if (entry.name_length != name.length() || memcmp(at, name.bytes(), name.length()) != 0) {
    return false;
  }
  *batch = {at + name.length(), entry.length, entry.items, entry.of_ids};
  return true;
}

void ListCache::keep_ids(const BatchName& name, guint64 changes, const guint64* ids,
                         guint32 count) {
  guint8* const begin_bytes = begin(name, changes, count * MAX_ID_BYTES);
  if (begin_bytes == nullptr) {
    return;
  }
  guint8* end = begin_bytes;
  guint64 last = 0;
  for (guint32 i = 0; i < count; ++i) {
    end = encode(ids[i] - last, end);
    last = ids[i];
  }
  finish(name, {name.length(), static_cast<guint32>(end - begin_bytes), count, TRUE});
}

void ListCache::keep_items(const BatchName& name, guint64 changes, const char* bytes,
                           guint32 length) {
  guint8* const begin_bytes = begin(name, changes, length);
  if (begin_bytes != nullptr) {
    memcpy(begin_bytes, bytes, length);
    finish(name, {name.length(), length, 0, FALSE});
  }
}

void ListCache::decode(const Batch& batch, guint64* out) {
  const guint8* at = batch.bytes;
  guint64 last = 0;
  for (guint32 i = 0; i < batch.items; ++i) {
    guint64 difference = *at & 0x7f;
    for (guint32 shift = 7; (*at++ & 0x80) != 0; shift += 7) {
      difference |= guint64{*at & 0x7fU} << shift;
    }
    last += difference;
    out[i] = last;
  }
}

// Makes room for an entry of at most `most` bytes beside the name. Returns where they
// go; null when there is none.
guint8* ListCache::begin(const BatchName& name, guint64 changes, guint32 most) {
  if (name.overflowed() || most > room_bytes_ / 8) {
    return nullptr;
  }
  if (slots_ == nullptr) {
    // Pages of either that are never written to take no memory.
    room_.reset(static_cast<guint8*>(g_try_malloc(room_bytes_)));
    slots_.reset(room_ == nullptr ? nullptr
                                  : static_cast<Slot*>(g_try_malloc0(slot_count() * sizeof(Slot))));
    if (slots_ == nullptr) {
      return nullptr;
    }
  }
  const auto needed = static_cast<guint32>(sizeof(Entry)) + name.length() + most;
  if (changes != changes_ || needed > room_bytes_ - used_) {
    drop();
    changes_ = changes;
  }
  return &room_[used_] + sizeof(Entry) + name.length();
}

void ListCache::finish(const BatchName& name, const Entry& entry) {
  guint8* at = &room_[used_];
  memcpy(at, &entry, sizeof entry);
  memcpy(at + sizeof entry, name.bytes(), name.length());
  *slot_of(name) = {used_, stamp_};
  used_ += static_cast<guint32>(sizeof entry) + name.length() + entry.length;
}

void ListCache::set_room(guint32 bytes) {
  slots_.reset();
  room_.reset();
  room_bytes_ = bytes;
  used_ = 0;
}

void ListCache::drop() {
  used_ = 0;
  if (++stamp_ == 0) {
    memset(static_cast<void*>(slots_.get()), 0, slot_count() * sizeof(Slot));
    stamp_ = 1;
  }
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
