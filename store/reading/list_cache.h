// A handle's copies of batches of lists, kept for as long as nothing is written.
#ifndef FENRA_STORE_READING_LIST_CACHE_H
#define FENRA_STORE_READING_LIST_CACHE_H

#include <glib.h>

#include "store/reading/ring_room.h"

namespace ostren::fenra::store {

// What identifies the reading of a batch: where it starts and how long it may get.
class BatchName {
 public:
  void append(const void* bytes, guint32 length);

  // Too long to be kept.
  bool overflowed() const { return length_ > MAX_LENGTH; }
  const char* bytes() const { return bytes_; }
  guint32 length() const { return length_; }
  guint64 hash() const;

 private:
  static constexpr guint32 MAX_LENGTH = 400;
  char bytes_[MAX_LENGTH];
  guint32 length_ = 0;
};

class ListCache {
 public:
  // A batch as it is kept: ids as the differences of each from the one before, in 1, 2, 4
  // or 8 bytes, the same for all of them; other items as they are, with a width of 0.
  struct Batch {
    const guint8* bytes;
    guint32 length;
    guint32 items;
    guint32 width;

    bool of_ids() const { return width != 0; }
  };

  // Looks for a batch as of the state of the store that `changes` stands for
  // (gate_changes). One that is found is valid until the next call of keep.
  bool find(const BatchName& name, guint64 changes, Batch* batch) const;

  // Keeps ids, or the bytes of other items, which were read in that state, unless
  // memory is short. Batches of another state are dropped, and the oldest for want of
  // room.
  void keep_ids(const BatchName& name, guint64 changes, const guint64* ids, guint32 count);
  void keep_items(const BatchName& name, guint64 changes, const char* bytes, guint32 length);

  // Changes the room, in bytes, to a power of two; at first it is LEAST_ROOM_BYTES.
  void set_room(guint32 bytes) { kept_.resize(bytes); }

  // Writes the ids of a batch to `out`.
  static void decode(const Batch& batch, guint64* out);

 private:
  struct Entry {
    guint32 name_length;
    guint32 length;
    guint32 items;
    guint32 width;
    // The name and the bytes follow.
  };
  struct Slot {
    guint64 position;
  };

  guint8* begin(const BatchName& name, guint64 changes, guint32 most);
  void finish(const BatchName& name, const Entry& entry);

  RingRoom<Slot, 32> kept_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_LIST_CACHE_H
