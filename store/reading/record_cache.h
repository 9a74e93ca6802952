// A handle's copies of short records by id, kept for as long as none of them is changed.
#ifndef FENRA_STORE_READING_RECORD_CACHE_H
#define FENRA_STORE_READING_RECORD_CACHE_H

#include <glib.h>

#include "store/reading/ring_room.h"

namespace ostren::fenra::store {

class RecordCache {
 public:
  struct Record {
    const char* bytes;
    guint32 length;
  };

  // Looks for the record of an id as of the state of the store that `changes` stands
  // for (gate_changes). A record found is valid until the next call of add.
  bool find(guint64 id, guint64 changes, Record* record) const;

  // Tells the present state, and the number of the records' changes in it: where that is the
  // one of before, all that is kept holds on.
  void carry_over(guint64 changes, guint64 replacements) {
    if (replacements != replacements_) {
      kept_.drop();
    }
    kept_.carry_over(changes);
    replacements_ = replacements;
  }

  // Keeps a copy of a record that was read in that state, unless it is long or memory
  // is short. Records of another state are dropped, and the oldest for want of room.
  void add(guint64 id, guint64 changes, const Record& record);

  // Changes the room, in bytes, to a power of two; at first it is LEAST_ROOM_BYTES.
  void set_room(guint32 bytes) { kept_.resize(bytes); }

 private:
  // The place of every id with the same low bits. A position that has grown too long is
  // that of nothing.
  struct Slot {
    guint64 id;
    guint64 position : 48;
    guint64 length : 16;
  };
  static constexpr guint32 MAX_LENGTH = 4096;

  RingRoom<Slot, 128> kept_;
  guint64 replacements_ = 0;
};

inline bool RecordCache::find(guint64 id, guint64 changes, Record* record) const {
  const Slot* slot = kept_.find(id, changes);
  if (slot == nullptr || slot->id != id) {
    return false;
  }
  *record = {reinterpret_cast<const char*>(kept_.at(slot->position)),
             static_cast<guint32>(slot->length)};
  return true;
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_RECORD_CACHE_H
