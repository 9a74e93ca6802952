// What a handle has read from its store, kept for as long as it holds: batches of lists, and
// URL records.
#ifndef FENRA_STORE_READING_READ_CACHE_H
#define FENRA_STORE_READING_READ_CACHE_H

#include <glib.h>

#include <memory>
#include <string_view>

namespace ostren::fenra::store {

// What identifies a thing that was read: some bytes. A URL record's are its id, those of
// anything else are more.
class ReadName {
 public:
  ReadName() = default;
  static ReadName of_url(guint64 id);

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
// oldest. A position counts all bytes that were ever passed; what is at one is there as long
// as it is not less than `oldest_`. A slot for every hash has the position of the entry that
// was kept under it last; it is zero at first, where there is never anything.
class ReadCache {
 public:
  // The size of the ring at first, in bytes.
  static constexpr guint32 LEAST_ROOM = 32 << 20;

  // Changes the size to a power of two, and drops everything.
  void set_room(guint32 bytes);

  // Looks for what was kept under the name when the store was in the given state. What is
  // found is valid until something is kept.
  bool find(const ReadName& name, guint64 state, std::string_view* found) const;

  // Keeps a copy, unless it is long or memory is short.
  void keep(const ReadName& name, guint64 state, std::string_view bytes);

  // The same for URL records, which hold on while articles are added: find_url() finds
  // nothing until it is told the present state of the store (gate_changes), and the number
  // of changes of URL records in it (gate_replacements).
  void carry_urls_over(guint64 changes, guint64 replacements) {
    url_changes_ = changes;
    url_state_ = replacements;
  }
  bool find_url(guint64 id, guint64 changes, std::string_view* record) const {
    return changes == url_changes_ && find(ReadName::of_url(id), url_state_, record);
  }
  void keep_url(guint64 id, std::string_view record) {
    keep(ReadName::of_url(id), url_state_, record);
  }

 private:
  struct Entry {
    guint64 state;
    guint32 name_length;
    guint32 length;
    // The name and the bytes follow.
  };
  struct Freer {
    void operator()(void* memory) const { g_free(memory); }
  };

  static constexpr guint32 ROOM_OF_A_SLOT = 64;

  bool make();
  guint64* slot_of(const ReadName& name) const {
    return &slots_[name.hash() & (bytes_ / ROOM_OF_A_SLOT - 1)];
  }
  guint32 offset_of(guint64 position) const {
    return static_cast<guint32>(position & (bytes_ - 1));
  }

  std::unique_ptr<guint64[], Freer> slots_;
  std::unique_ptr<char[], Freer> room_;
  guint32 bytes_ = LEAST_ROOM;
  guint64 written_ = LEAST_ROOM;
  guint64 oldest_ = LEAST_ROOM;
  guint64 url_changes_ = G_MAXUINT64;
  guint64 url_state_ = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_READ_CACHE_H
