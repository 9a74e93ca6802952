// Lists of ids as the payloads of entries.
//
// On disk: the first id, and of each further one how much it is higher. A key with more ids than
// an entry may have comes in several entries in a row, so that a reader passes over what lies
// below an id without looking at each.
#ifndef FENRA_STORE_SORTED_ID_LIST_H
#define FENRA_STORE_SORTED_ID_LIST_H

#include <glib.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "base/failed.h"
#include "base/varint.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

constexpr size_t MOST_LISTED_IDS = 256;

inline size_t count_ids(std::string_view payload) {
  return static_cast<size_t>(
      std::count_if(payload.begin(), payload.end(), [](char byte) { return (byte & 0x80) == 0; }));
}

// Reads a payload. Throws Failed, EIO, where the ids do not ascend or there is no number.
class IdReader {
 public:
  explicit IdReader(std::string_view payload) : numbers_(payload) {}

  bool at_end() const { return numbers_.at_end(); }

  guint64 next() {
    const guint64 step = numbers_.next();
    require(step == 0 || step > G_MAXUINT64 - id_ ? EIO : 0);
    return id_ += step;
  }

 private:
  VarintReader numbers_;
  guint64 id_ = 0;
};

// Writes the lists of keys, cut into entries.
class IdListWriter {
 public:
  explicit IdListWriter(SortedWriter* writer) : writer_(*writer) {}

  // Ends the list before. Borrows the key until the next one.
  void begin(std::string_view key) {
    write();
    key_ = key;
    last_ = 0;
  }

  // Ids begin with 1 and ascend; one that comes again is passed over. Throws Failed, EIO, for one
  // that descends.
  void add(guint64 id) {
    if (id <= last_) {
      require(id < last_ ? EIO : 0);
      return;
    }
    if (count_ == MOST_LISTED_IDS) {
      write();
    }
    append_varint(count_ == 0 ? id : id - last_, &payload_);
    last_ = id;
    ++count_;
  }

  // Ends the last list.
  void end() { write(); }

 private:
  void write() {
    if (count_ != 0) {
      writer_.write(key_, payload_);
      payload_.clear();
      count_ = 0;
    }
  }

  SortedWriter& writer_;
  std::string_view key_;
  std::string payload_;
  size_t count_ = 0;  // of ids in the payload
  guint64 last_ = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_ID_LIST_H
