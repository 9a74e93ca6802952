#include "store/reading/list_cache.h"

#include <cstring>

namespace ostren::fenra::store {
namespace {

// The bytes that a number takes.
guint32 width_of(guint64 number) {
  return number <= G_MAXUINT8 ? 1 : number <= G_MAXUINT16 ? 2 : number <= G_MAXUINT32 ? 4 : 8;
}

template <typename Difference>
void encode(const guint64* ids, guint32 count, guint8* out) {
  guint64 last = 0;
  for (guint32 i = 0; i < count; ++i) {
    const auto difference = static_cast<Difference>(ids[i] - last);
    memcpy(out + i * sizeof difference, &difference, sizeof difference);
    last = ids[i];
  }
}

template <typename Difference>
void decode(const guint8* in, guint32 count, guint64* out) {
  guint64 last = 0;
  for (guint32 i = 0; i < count; ++i) {
    Difference difference;
    memcpy(&difference, in + i * sizeof difference, sizeof difference);
    last += difference;
    out[i] = last;
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
  const guint8* at = kept_.at(slot->position);
  memcpy(&entry, at, sizeof entry);
  at += sizeof entry;
  if (entry.name_length != name.length() || memcmp(at, name.bytes(), name.length()) != 0) {
    return false;
  }
  *batch = {at + name.length(), entry.length, entry.items, entry.width};
  return true;
}

void ListCache::keep_ids(const BatchName& name, guint64 changes, const guint64* ids,
                         guint32 count) {
  guint64 most = 0;
  guint64 last = 0;
  for (guint32 i = 0; i < count; ++i) {
    most = MAX(most, ids[i] - last);
    last = ids[i];
  }
  const guint32 width = width_of(most);
  guint8* const bytes = begin(name, changes, count * width);
  if (bytes != nullptr) {
    with_type_of(width, [&](auto type) { encode<decltype(type)>(ids, count, bytes); });
    finish(name, {name.length(), count * width, count, width});
  }
}

void ListCache::keep_items(const BatchName& name, guint64 changes, const char* bytes,
                           guint32 length) {
  guint8* const begin_bytes = begin(name, changes, length);
  if (begin_bytes != nullptr) {
    memcpy(begin_bytes, bytes, length);
    finish(name, {name.length(), length, 0, 0});
  }
}

void ListCache::decode(const Batch& batch, guint64* out) {
  with_type_of(batch.width,
               [&](auto type) { store::decode<decltype(type)>(batch.bytes, batch.items, out); });
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
  const guint64 position = kept_.position();
  guint8* at = kept_.at(position);
  memcpy(at, &entry, sizeof entry);
  memcpy(at + sizeof entry, name.bytes(), name.length());
  kept_.finish(name.hash(), {position},
               static_cast<guint32>(sizeof entry) + name.length() + entry.length);
}

}  // namespace ostren::fenra::store
