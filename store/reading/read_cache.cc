#include "store/reading/read_cache.h"

#include <cstring>

namespace ostren::fenra::store {

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
  oldest_batch_ = oldest_url_ = 0;
}

void ReadCache::keep(const ReadName& name, guint64 changes, std::string_view bytes) {
  if (changes != changes_) {
    changes_ = changes;
    oldest_batch_ = written_;
  }
  if (!name.overflowed()) {
    keep_entry(name.hash(), name.bytes(), bytes);
  }
}

void ReadCache::carry_urls_over(guint64 changes, guint64 replacements) {
  if (replacements != replacements_) {
    replacements_ = replacements;
    oldest_url_ = written_;
  }
  url_changes_ = changes;
}

// Pages of either that are never written to take no memory.
bool ReadCache::make() {
  if (slots_ == nullptr) {
    room_.reset(static_cast<char*>(g_try_malloc(bytes_)));
    if (room_ != nullptr) {
      slots_.reset(g_try_new0(Slot, bytes_ / ROOM_OF_A_SLOT));
    }
  }
  return slots_ != nullptr;
}

// Takes the name off the entry, if it has that.
bool ReadCache::take_name(std::string_view name, std::string_view* entry) {
  guint32 length;
  memcpy(&length, entry->data(), sizeof length);
  entry->remove_prefix(sizeof length);
  if (name != entry->substr(0, length)) {
    return false;
  }
  entry->remove_prefix(length);
  return true;
}

void ReadCache::keep_entry(guint64 hash, std::string_view name, std::string_view bytes) {
  constexpr guint32 LEAST_ENTRIES = 64;
  constexpr guint32 MOST_BYTES = (1U << (64 - POSITION_BITS)) - 1;
  const auto name_length = static_cast<guint32>(name.size());
  const size_t before = name.empty() ? 0 : sizeof name_length + name.size();
  // At least a byte: what is empty must not stay where the next state begins.
  const size_t needed = MAX(before + bytes.size(), 1);
  if (needed > MIN(bytes_ / LEAST_ENTRIES, MOST_BYTES)) {
    return;
  }
  if (written_ + bytes_ >= guint64{1} << POSITION_BITS) {
    set_room(bytes_);
  }
  if (!make()) {
    return;
  }
  const guint32 to_end = bytes_ - offset_of(written_);
  written_ += needed > to_end ? to_end : 0;
  oldest_ = MAX(oldest_, written_ + needed - bytes_);
  char* const at = &room_[offset_of(written_)];
  if (!name.empty()) {
    memcpy(at, &name_length, sizeof name_length);
    name.copy(at + sizeof name_length, name.size());
  }
  bytes.copy(at + before, bytes.size());
  *slot_of(hash, name) = {hash, written_, before + bytes.size()};
  written_ += needed;
}

}  // namespace ostren::fenra::store
