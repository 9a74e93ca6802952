// The memory of a handle's caches: a ring of bytes, and slots that point into it.
#ifndef FENRA_STORE_READING_RING_ROOM_H
#define FENRA_STORE_READING_RING_ROOM_H

#include <glib.h>

#include <memory>

namespace ostren::fenra::store {

// The size of a room at first.
constexpr guint32 LEAST_ROOM_BYTES = 16 << 20;

// What is written goes behind what was written last, and in the end over the oldest. A
// position counts all bytes that were ever passed; what is at one is there as long as it is
// not less than `oldest_`. So a slot, which has a member `position` and is zero at first, is
// known to be out of date, and dropping everything is a step past all that there is, be it
// empty. There is a slot for every ROOM_OF_A_SLOT bytes, a power of two.
template <typename Slot, guint32 ROOM_OF_A_SLOT>
class RingRoom {
 public:
  guint32 bytes() const { return bytes_; }

  // Changes the size to a power of two, and drops everything.
  void resize(guint32 bytes) {
    slots_.reset();
    room_.reset();
    bytes_ = bytes;
    written_ = oldest_ = bytes;
  }

  // The slot of a hash as of the state that `changes` stands for, null when it points at
  // nothing.
  const Slot* find(guint64 hash, guint64 changes) const {
    if (slots_ == nullptr || changes != changes_) {
      return nullptr;
    }
    const Slot* slot = &slots_[hash & (slot_count() - 1)];
    return slot->position >= oldest_ ? slot : nullptr;
  }

  // What is there holds for another state as well; or does not hold any more.
  void carry_over(guint64 changes) { changes_ = changes; }
  void drop() { oldest_ = ++written_; }

  const guint8* at(guint64 position) const { return &room_[offset_of(position)]; }
  guint8* at(guint64 position) { return &room_[offset_of(position)]; }

  // Where the next `needed` bytes, at most bytes(), go, at position(); what is there already,
  // and all of another state, is dropped. Null when memory is short.
  guint8* begin(guint64 changes, guint32 needed) {
    if (slots_ == nullptr && !make()) {
      return nullptr;
    }
    if (changes != changes_) {
      drop();
      changes_ = changes;
    }
    const guint32 to_end = bytes_ - offset_of(written_);
    if (needed > to_end) {
      written_ += to_end;
    }
    oldest_ = MAX(oldest_, written_ + needed - bytes_);
    return at(written_);
  }
  guint64 position() const { return written_; }

  // Ends what was begun: it has taken `length` bytes, and `slot` is to find it.
  void finish(guint64 hash, const Slot& slot, guint32 length) {
    slots_[hash & (slot_count() - 1)] = slot;
    written_ += length;
  }

 private:
  struct Freer {
    void operator()(void* memory) const { g_free(memory); }
  };

  guint32 slot_count() const { return bytes_ / ROOM_OF_A_SLOT; }
  guint32 offset_of(guint64 position) const {
    return static_cast<guint32>(position & (bytes_ - 1));
  }

  // Pages of either that are never written to take no memory.
  bool make() {
    room_.reset(static_cast<guint8*>(g_try_malloc(bytes_)));
    if (room_ != nullptr) {
      slots_.reset(static_cast<Slot*>(g_try_malloc0(slot_count() * sizeof(Slot))));
    }
    return slots_ != nullptr;
  }

  std::unique_ptr<Slot[], Freer> slots_;
  std::unique_ptr<guint8[], Freer> room_;
  guint32 bytes_ = LEAST_ROOM_BYTES;
  guint64 written_ = LEAST_ROOM_BYTES;
  guint64 oldest_ = LEAST_ROOM_BYTES;
  guint64 changes_ = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_RING_ROOM_H
