// A handle's copies of short records by id, kept for as long as nothing is written.
#ifndef FENRA_STORE_RECORD_CACHE_H
#define FENRA_STORE_RECORD_CACHE_H

#include <glib.h>

#include <memory>

namespace ostren {
namespace fenra {
namespace store {

class RecordCache {
 public:
  struct Record {
    const char* bytes;
    guint32 length;
  };

  // Looks for the record of an id as of the state of the store that `changes` stands
  // for (gate_changes). A record found is valid until the next call of add.
  bool find(guint64 id, guint64 changes, Record* record) const;

  // Keeps a copy of a record that was read in that state, unless it is long or memory
  // is short. Records of another state are dropped, and all when the room is used up.
  void add(guint64 id, guint64 changes, const Record& record);

  // Changes the room, in bytes, to a power of two; at first it is LEAST_ROOM.
  void set_room(guint32 bytes);

  static constexpr guint32 LEAST_ROOM = 8 << 20;

 private:
  // The place of every id with the same low bits. Filled in since the last drop when
  // the stamps are equal.
  struct Slot {
    guint64 id;
    guint32 offset;
    guint16 length;
    guint16 stamp;
  };
  static constexpr guint32 ROOM_OF_A_SLOT = 128;
  static constexpr guint32 MAX_LENGTH = 4096;

  guint32 slot_count() const { return room_bytes_ / ROOM_OF_A_SLOT; }
  const Slot& slot_of(guint64 id) const { return slots_[id & (slot_count() - 1)]; }

  struct Freer {
    void operator()(void* memory) const { g_free(memory); }
  };

  bool make();
  void drop();

  std::unique_ptr<Slot[], Freer> slots_;
  std::unique_ptr<char[], Freer> room_;
  guint32 room_bytes_ = LEAST_ROOM;
  guint32 used_ = 0;
  guint16 stamp_ = 1;
  guint64 changes_ = 0;
};

inline bool RecordCache::find(guint64 id, guint64 changes, Record* record) const {
  if (slots_ == nullptr || changes != changes_) {
    return false;
  }
  const Slot& slot = slot_of(id);
  if (slot.stamp != stamp_ || slot.id != id) {
    return false;
  }
  *record = {&room_[slot.offset], slot.length};
  return true;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_RECORD_CACHE_H
