// What a handle has read from its store, kept for as long as it holds: batches of lists, and
// URL records.
#ifndef FENRA_STORE_READING_READ_CACHE_H
#define FENRA_STORE_READING_READ_CACHE_H

#include <glib.h>

#include <string_view>

#include "base/handles.h"

namespace ostren::fenra::store {

// What identifies a batch: some bytes.
class ReadName {
 public:
  void append(const void* bytes, size_t length);

  // Too long for anything to be kept under it.
  bool overflowed() const { return length_ > MAX_LENGTH; }
  std::string_view bytes() const { return {bytes_, length_}; }
  guint64 hash() const { return hash_; }

 private:
  static constexpr guint32 MAX_LENGTH = 400;
  char bytes_[MAX_LENGTH];
  guint32 length_ = 0;
  guint64 hash_ = 0xcbf29ce484222325;
};

// A ring of entries: what is kept goes behind what was kept last, and in the end over the
// oldest. A position counts all bytes that were ever passed. A slot for every hash says where
// the entry is that was kept under it last; at first it says zero, where there is never anything.
class ReadCache {
 public:
  // The size of the ring at first, in bytes.
  static constexpr guint32 LEAST_ROOM = 32 << 20;

  // Changes the size to a power of two, and drops everything.
  void set_room(guint32 bytes);

  // Looks for a batch that was kept in the state of the store that `changes` stands for
  // (gate_changes). What is found is valid until something is kept.
  bool find(const ReadName& name, guint64 changes, std::string_view* found) const {
    return changes == changes_ && !name.overflowed() &&
           find_entry(name.hash(), oldest_batch_, name.bytes(), found);
  }

  // Keeps a copy, unless it is long or memory is short. Batches of another state are dropped.
  void keep(const ReadName& name, guint64 changes, std::string_view bytes);

  // The same for URL records, which hold on while articles are added: find_url() finds
  // nothing until it is told the present state of the store, and the number of changes of URL
  // records in it (gate_replacements).
  void carry_urls_over(guint64 changes, guint64 replacements);
  bool find_url(guint64 id, guint64 changes, std::string_view* record) const {
    return changes == url_changes_ && find_entry(id, oldest_url_, {}, record);
  }
  void keep_url(guint64 id, std::string_view record) { keep_entry(id, {}, record); }

 private:
  static constexpr guint32 ROOM_OF_A_SLOT = 64;
  static constexpr guint32 POSITION_BITS = 44;

  // At the position are the name, if it has one, its length in front, and then the bytes.
  struct Slot {
    guint64 hash;  // an id, for a URL record: then there is no name
    guint64 position : POSITION_BITS;
    guint64 length : 64 - POSITION_BITS;  // of all
  };

  bool make();
  bool find_entry(guint64 hash, guint64 oldest, std::string_view name,
                  std::string_view* found) const;
  static bool take_name(std::string_view name, std::string_view* entry);
  void keep_entry(guint64 hash, std::string_view name, std::string_view bytes);
  // URL records, of consecutive ids, have the first half of the slots.
  Slot* slot_of(guint64 hash, std::string_view name) const {
    const guint32 half = bytes_ / ROOM_OF_A_SLOT / 2;
    return &slots_[(hash & (half - 1)) + (name.empty() ? 0 : half)];
  }
  guint32 offset_of(guint64 position) const {
    return static_cast<guint32>(position & (bytes_ - 1));
  }

  GMemory<Slot[]> slots_;
  GMemory<char[]> room_;
  guint32 bytes_ = LEAST_ROOM;
  guint64 written_ = LEAST_ROOM;
  // What is at a position less than this does not hold: any entry, batches, URL records.
  guint64 oldest_ = LEAST_ROOM;
  guint64 oldest_batch_ = 0;
  guint64 oldest_url_ = 0;
  guint64 changes_ = 0;
  guint64 url_changes_ = G_MAXUINT64;
  guint64 replacements_ = 0;
};

// Inline, for the URLs of long answers. Nothing that decides is read from the ring for them,
// so that several can be on their way from memory at a time.
inline bool ReadCache::find_entry(guint64 hash, guint64 oldest, std::string_view name,
                                  std::string_view* found) const {
  const Slot slot = slots_ == nullptr ? Slot{} : *slot_of(hash, name);
  if (slot.hash != hash || slot.position < MAX(oldest, oldest_)) {
    return false;
  }
  *found = {&room_[offset_of(slot.position)], slot.length};
  return name.empty() || take_name(name, found);
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_READ_CACHE_H
