// The memory of the caches that a handle drops as a whole: slots, and the room that they
// point into.
#ifndef FENRA_STORE_STAMPED_ROOM_H
#define FENRA_STORE_STAMPED_ROOM_H

#include <glib.h>

#include <cstring>
#include <memory>

namespace ostren {
namespace fenra {
namespace store {

// The size of a room at first.
constexpr guint32 LEAST_ROOM_BYTES = 8 << 20;

// A slot, which has a member `stamp` of an unsigned type, is filled in when its stamp is
// that of the room; so dropping all of them is taking the next stamp. There is a slot for
// every ROOM_OF_A_SLOT bytes, a power of two.
template <typename Slot, guint32 ROOM_OF_A_SLOT>
class StampedRoom {
 public:
  guint32 bytes() const { return bytes_; }
  guint32 used() const { return used_; }

  // Changes the size to a power of two, and drops everything.
  void resize(guint32 bytes) {
    slots_.reset();
    room_.reset();
    bytes_ = bytes;
    used_ = 0;
  }

  // The slot of a hash as of the state that `changes` stands for, null when it is not
  // filled in.
  const Slot* find(guint64 hash, guint64 changes) const {
    if (slots_ == nullptr || changes != changes_) {
      return nullptr;
    }
    const Slot* slot = &slots_[hash & (slot_count() - 1)];
    return slot->stamp == stamp_ ? slot : nullptr;
  }

  // What is there holds for another state as well; or does not hold any more.
  void carry_over(guint64 changes) { changes_ = changes; }
  void drop() {
    used_ = 0;
    if (slots_ != nullptr && ++stamp_ == 0) {
      memset(static_cast<void*>(slots_.get()), 0, slot_count() * sizeof(Slot));
      stamp_ = 1;
    }
  }

  const guint8* at(guint32 offset) const { return &room_[offset]; }
  guint8* at(guint32 offset) { return &room_[offset]; }

  // Where the next `needed` bytes, at most bytes(), go, at the offset used(); what is there
  // of another state, or has no room beside them, is dropped. Null when memory is short.
  guint8* begin(guint64 changes, guint32 needed) {
    if (slots_ == nullptr && !make()) {
      return nullptr;
    }
    if (changes != changes_ || needed > bytes_ - used_) {
      drop();
      changes_ = changes;
    }
    return &room_[used_];
  }

  // Ends what was begun: it has taken `length` bytes, and `slot` is to find it.
  void finish(guint64 hash, Slot slot, guint32 length) {
    slot.stamp = stamp_;
    slots_[hash & (slot_count() - 1)] = slot;
    used_ += length;
  }

 private:
  struct Freer {
    void operator()(void* memory) const { g_free(memory); }
  };

  guint32 slot_count() const { return bytes_ / ROOM_OF_A_SLOT; }

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
  guint32 used_ = 0;
  decltype(Slot::stamp) stamp_ = 1;
  guint64 changes_ = 0;
};

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_STAMPED_ROOM_H
