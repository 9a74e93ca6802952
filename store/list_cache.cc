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
  const Slot* slot = name.overflowed() ? nullptr : kept_.find(name.hash(), changes);
  if (slot == nullptr) {
    return false;
  }
  Entry entry;
  const guint8* at = kept_.at(slot->offset);
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
  if (name.overflowed() || most > kept_.bytes() / 8) {
    return nullptr;
  }
  const auto before = static_cast<guint32>(sizeof(Entry)) + name.length();
  guint8* const bytes = kept_.begin(changes, before + most);
  return bytes == nullptr ? nullptr : bytes + before;
}

void ListCache::finish(const BatchName& name, const Entry& entry) {
  const guint32 offset = kept_.used();
  guint8* at = kept_.at(offset);
  memcpy(at, &entry, sizeof entry);
  memcpy(at + sizeof entry, name.bytes(), name.length());
  kept_.finish(name.hash(), {offset, 0},
               static_cast<guint32>(sizeof entry) + name.length() + entry.length);
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
