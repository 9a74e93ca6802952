// An entry of a run or a segment: a key and a payload.
#ifndef FENRA_STORE_SORTED_ENTRY_H
#define FENRA_STORE_SORTED_ENTRY_H

#include <glib.h>

#include <string>
#include <string_view>

#include "base/failed.h"
#include "base/varint.h"

namespace ostren::fenra::store {

struct Entry {
  std::string_view key;
  std::string_view payload;
};

// On disk: both lengths, key, payload.
inline void append_entry(std::string_view key, std::string_view payload, std::string* bytes) {
  append_varint(key.size(), bytes);
  append_varint(payload.size(), bytes);
  bytes->append(key);
  bytes->append(payload);
}

// Reads the entry in front. Returns how many bytes it takes; when that is more than there are,
// it has not been read, and takes so many at least. Throws Failed, EIO, for what is no entry,
// however many bytes follow.
inline size_t parse_entry(std::string_view bytes, Entry* entry) {
  constexpr size_t MOST_HEADER_BYTES = 2 * MOST_VARINT_BYTES;
  constexpr guint64 MOST_BYTES = guint64{1} << 48;  // the sum of two stays a number
  std::string_view rest = bytes;
  guint64 key_size = 0;
  guint64 payload_size = 0;
  if (!take_varint(&rest, &key_size) || !take_varint(&rest, &payload_size)) {
    require(bytes.size() >= MOST_HEADER_BYTES ? EIO : 0);
    return bytes.size() + 1;
  }
  require(key_size > MOST_BYTES || payload_size > MOST_BYTES ? EIO : 0);
  const size_t size = bytes.size() - rest.size() + key_size + payload_size;
  if (size <= bytes.size()) {
    entry->key = rest.substr(0, key_size);
    entry->payload = rest.substr(key_size, payload_size);
  }
  return size;
}

// Takes the entry in front off the bytes of a section, which end with an entry. Throws Failed,
// EIO, where there is none.
inline Entry take_entry(std::string_view* bytes) {
  Entry entry;
  const size_t size = parse_entry(*bytes, &entry);
  require(size > bytes->size() ? EIO : 0);
  bytes->remove_prefix(size);
  return entry;
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_ENTRY_H
