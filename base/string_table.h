// Numbers for distinct byte strings.
#ifndef FENRA_BASE_STRING_TABLE_H
#define FENRA_BASE_STRING_TABLE_H

#include <glib.h>

#include <string_view>

#include "base/growing_array.h"

namespace ostren::fenra {

// A hash of bytes that differs from process to process, so that nobody can choose strings
// that collide. Nothing on disk depends on it.
guint32 keyed_hash(std::string_view bytes);

// The same of a number.
guint64 keyed_hash(guint64 number);

// Strings numbered from 0 in the order of their first appearance, by open addressing. Throws
// std::bad_alloc, or std::length_error from 4 GiB of one string on.
class StringTable {
 public:
  static constexpr guint32 NONE = ~guint32{0};

  // The string's number; *is_new, unless null, tells whether it has just got it.
  guint32 number(std::string_view string, bool* is_new = nullptr) {
    return number(string, keyed_hash(string), is_new);
  }

  // `hash` is the string's keyed_hash.
  guint32 number(std::string_view string, guint32 hash, bool* is_new = nullptr);

  // NONE when it is not there.
  guint32 find(std::string_view string) const;
  bool contains(std::string_view string) const { return find(string) != NONE; }

  // Valid until the next string is taken in.
  std::string_view operator[](guint32 number) const {
    const Entry& entry = entries_[number];
    return {bytes_.begin() + entry.start, entry.length};
  }

  guint32 hash(guint32 number) const { return entries_[number].hash; }
  guint32 size() const { return static_cast<guint32>(entries_.size()); }

  // Memory in use.
  size_t bytes() const {
    return bytes_.size() + entries_.size() * sizeof(Entry) + slots_.size() * sizeof(guint32);
  }

  // Gives the memory back.
  void clear() { *this = StringTable(); }

 private:
  struct Entry {
    size_t start;  // in bytes_
    guint32 length;
    guint32 hash;
  };

  guint32* slot_of(std::string_view string, guint32 hash);
  void grow();

  GrowingArray<char> bytes_;
  GrowingArray<Entry> entries_;
  // A string's number + 1, or 0. Their count is a power of two, or 0.
  GrowingArray<guint32> slots_;
};

}  // namespace ostren::fenra

#endif  // FENRA_BASE_STRING_TABLE_H
