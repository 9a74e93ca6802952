#include "store/record_cache.h"

#include <cstring>

namespace ostren {
namespace fenra {
namespace store {

void RecordCache::add(guint64 id, guint64 changes, const Record& record) {
  if (record.length > MAX_LENGTH || (slots_ == nullptr && !make())) {
    return;
  }
  if (changes != changes_ || record.length > room_bytes_ - used_) {
    drop();
    changes_ = changes;
  }
  if (record.length != 0) {
    memcpy(&room_[used_], record.bytes, record.length);
  }
  slots_[id & (slot_count() - 1)] = {id, used_, static_cast<guint16>(record.length), stamp_};
  used_ += record.length;
}

void RecordCache::set_room(guint32 bytes) {
  slots_.reset();
  room_.reset();
  room_bytes_ = bytes;
  used_ = 0;
}

// Pages of either that are never written to take no memory.
bool RecordCache::make() {
  room_.reset(static_cast<char*>(g_try_malloc(room_bytes_)));
  if (room_ != nullptr) {
    slots_.reset(static_cast<Slot*>(g_try_malloc0(slot_count() * sizeof(Slot))));
  }
  return slots_ != nullptr;
}

void RecordCache::drop() {
  used_ = 0;
  if (++stamp_ == 0) {
    memset(static_cast<void*>(slots_.get()), 0, slot_count() * sizeof(Slot));
    stamp_ = 1;
  }
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
