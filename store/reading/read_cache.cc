#include "store/reading/read_cache.h"

#include <cstring>

namespace ostren::fenra::store {

// The slots of consecutive ids are neighbours.
ReadName ReadName::of_url(guint64 id) {
  ReadName name;
  memcpy(name.bytes_, &id, sizeof id);
  name.length_ = sizeof id;
  name.hash_ = id;
  return name;
}

// The hash is FNV-1a.
void ReadName::append(const void* bytes, size_t length) {
  if (overflowed() || length > MAX_LENGTH - length_) {
    length_ = MAX_LENGTH + 1;
    return;
  }
  const auto* more = static_cast<const char*>(bytes);
  for (size_t i = 0; i < length; ++i) {
    bytes_[length_++] = more[i];
    hash_ = (hash_ ^ static_cast<guint8>(more[i])) * 0x100000001b3;
  }
}

void ReadCache::set_room(guint32 bytes) {
  slots_.reset();
  room_.reset();
  bytes_ = bytes;
  written_ = oldest_ = bytes;
}

// Pages of either that are never written to take no memory.
bool ReadCache::make() {
  if (slots_ == nullptr) {
    room_.reset(static_cast<char*>(g_try_malloc(bytes_)));
    if (room_ != nullptr) {
      slots_.reset(g_try_new0(guint64, bytes_ / ROOM_OF_A_SLOT));
    }
  }
  return slots_ != nullptr;
}

bool ReadCache::find(const ReadName& name, guint64 state, std::string_view* found) const {
  if (slots_ == nullptr || name.overflowed()) {
    return false;
  }
  const guint64 position = *slot_of(name);
  if (position < oldest_) {
    return false;
  }
  Entry entry;
  const char* const at = &room_[offset_of(position)];
  memcpy(&entry, at, sizeof entry);
  if (entry.state != state ||
      name.bytes() != std::string_view(at + sizeof entry, entry.name_length)) {
    return false;
  }
  *found = {at + sizeof entry + entry.name_length, entry.length};
  return true;
}

void ReadCache::keep(const ReadName& name, guint64 state, std::string_view bytes) {
  constexpr guint32 LEAST_ENTRIES = 64;
  const Entry entry = {state, static_cast<guint32>(name.bytes().size()),
                       static_cast<guint32>(bytes.size())};
  const size_t needed = sizeof entry + entry.name_length + bytes.size();
  if (name.overflowed() || needed > bytes_ / LEAST_ENTRIES || !make()) {
    return;
  }
  const guint32 to_end = bytes_ - offset_of(written_);
  written_ += needed > to_end ? to_end : 0;
  oldest_ = MAX(oldest_, written_ + needed - bytes_);
  char* const at = &room_[offset_of(written_)];
  memcpy(at, &entry, sizeof entry);
  name.bytes().copy(at + sizeof entry, entry.name_length);
  bytes.copy(at + sizeof entry + entry.name_length, bytes.size());
  *slot_of(name) = written_;
  written_ += needed;
}

}  // namespace ostren::fenra::store
