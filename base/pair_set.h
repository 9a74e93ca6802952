// Distinct pairs of numbers.
#ifndef FENRA_BASE_PAIR_SET_H
#define FENRA_BASE_PAIR_SET_H

#include <glib.h>

#include "base/growing_array.h"
#include "base/string_table.h"

namespace ostren::fenra {

// Pairs in the order of their coming, each once. Throws std::bad_alloc.
class PairSet {
 public:
  struct Pair {
    guint32 first;
    guint32 second;
  };

  // Tells whether the pair is new.
  bool insert(Pair pair) {
    if (pairs_.size() * 2 >= slots_.size()) {
      grow();
    }
    guint32* const slot = slot_of(slots_, pair);
    if (*slot != 0) {
      return false;
    }
    pairs_.push_back(pair);
    *slot = static_cast<guint32>(pairs_.size());
    return true;
  }

  size_t size() const { return pairs_.size(); }
  const Pair& operator[](size_t place) const { return pairs_[place]; }
  const Pair* begin() const { return pairs_.begin(); }
  const Pair* end() const { return pairs_.end(); }

  // Memory in use.
  size_t bytes() const { return pairs_.size() * sizeof(Pair) + slots_.size() * sizeof(guint32); }

  // Gives the memory back.
  void clear() { *this = PairSet(); }

 private:
  guint32* slot_of(GrowingArray<guint32>& slots, const Pair& pair) const {
    const size_t mask = slots.size() - 1;
    size_t slot = keyed_hash(guint64{pair.first} << 32 | pair.second) & mask;
    for (; slots[slot] != 0; slot = (slot + 1) & mask) {
      const Pair& found = pairs_[slots[slot] - 1];
      if (found.first == pair.first && found.second == pair.second) {
        break;
      }
    }
    return &slots[slot];
  }

  void grow() {
    constexpr size_t LEAST_SLOTS = 256;
    GrowingArray<guint32> slots;
    slots.assign_zeros(slots_.size() == 0 ? LEAST_SLOTS : slots_.size() * 2);
    for (size_t i = 0; i < pairs_.size(); ++i) {
      *slot_of(slots, pairs_[i]) = static_cast<guint32>(i + 1);
    }
    slots_ = std::move(slots);
  }

  GrowingArray<Pair> pairs_;
  // Open addressing: a pair's place + 1, or 0. Their count is a power of two, or 0.
  GrowingArray<guint32> slots_;
};

}  // namespace ostren::fenra

#endif  // FENRA_BASE_PAIR_SET_H
