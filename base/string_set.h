// A set of byte strings, kept one after the other in one block.
#ifndef FENRA_BASE_STRING_SET_H
#define FENRA_BASE_STRING_SET_H

#include <glib.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra {

// Numbers its strings from 0 in the order of their arrival. Open addressing with linear
// probing; at most half of the slots are taken. Only a few slots are looked at for a
// string, so that strings chosen to collide cost no more than others: of these some are
// numbered but not found again, and then count as new each time. Memory that runs out
// shows as std::bad_alloc or std::length_error.
class StringSet {
 public:
  // Tells whether the string is new, and then has got the next number. *number is its
  // number.
  bool add(std::string_view string, guint32* number = nullptr) {
    if (slots_.size() < 2 * (entries_.size() + 1)) {
      grow();
    }
    const guint32 hash = hash_of(string);
    guint32* const slot = find(string, hash);
    if (slot != nullptr && *slot != FREE) {
      if (number != nullptr) {
        *number = *slot;
      }
      return false;
    }
    entries_.push_back({bytes_.size(), string.size(), hash});
    try {
      bytes_.append(string);
    } catch (...) {
      entries_.pop_back();
      throw;
    }
    if (slot != nullptr) {
      *slot = static_cast<guint32>(entries_.size() - 1);
    }
    if (number != nullptr) {
      *number = static_cast<guint32>(entries_.size() - 1);
    }
    return true;
  }

  bool contains(std::string_view string) {
    const guint32* const slot = slots_.empty() ? nullptr : find(string, hash_of(string));
    return slot != nullptr && *slot != FREE;
  }

  // Valid until the next string is added.
  std::string_view operator[](size_t number) const {
    return {bytes_.data() + entries_[number].offset, entries_[number].length};
  }

  size_t size() const { return entries_.size(); }
  size_t bytes() const { return bytes_.size(); }

  void clear() {
    bytes_.clear();
    entries_.clear();
    slots_.assign(slots_.size(), FREE);
  }

 private:
  struct Entry {
    size_t offset;
    size_t length;
    guint32 hash;
  };
  static constexpr guint32 FREE = ~guint32{0};
  static constexpr size_t FIRST_SLOTS = 1024;
  static constexpr size_t MAX_PROBES = 64;

  static guint32 hash_of(std::string_view string) {
    return static_cast<guint32>(std::hash<std::string_view>()(string));
  }

  // The first of the slots for a hash that is free or satisfies `is_sought`; null when
  // there is none.
  template <typename IsSought>
  static guint32* probe(std::vector<guint32>* slots, guint32 hash, IsSought is_sought) {
    const size_t mask = slots->size() - 1;
    for (size_t i = 0; i < MAX_PROBES; ++i) {
      guint32* const slot = &(*slots)[(hash + i) & mask];
      if (*slot == FREE || is_sought(*slot)) {
        return slot;
      }
    }
    return nullptr;
  }

  guint32* find(std::string_view string, guint32 hash) {
    return probe(&slots_, hash, [&](guint32 number) {
      return entries_[number].hash == hash && (*this)[number] == string;
    });
  }

  void grow() {
    std::vector<guint32> slots(slots_.empty() ? FIRST_SLOTS : 2 * slots_.size(), FREE);
    for (size_t number = 0; number < entries_.size(); ++number) {
      guint32* const slot = probe(&slots, entries_[number].hash, [](guint32) { return false; });
      if (slot != nullptr) {
        *slot = static_cast<guint32>(number);
      }
    }
    slots_.swap(slots);
  }

  std::string bytes_;
  std::vector<Entry> entries_;
  std::vector<guint32> slots_;  // a power of two of them: an entry's number, or FREE
};

}  // namespace ostren::fenra

#endif  // FENRA_BASE_STRING_SET_H
