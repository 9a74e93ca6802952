// Data items that follow each other under a key, in memory.
#ifndef FENRA_STORE_READING_ITEM_BATCH_H
#define FENRA_STORE_READING_ITEM_BATCH_H

#include <glib.h>

#include <memory>
#include <string_view>
#include <vector>

#include "store/articledb.h"

namespace ostren::fenra::store {

// Ids follow each other; other items each come after their length of 4 bytes.
class ItemBatch {
 public:
  bool empty() const { return length_ == 0; }
  guint32 length() const { return length_; }

  // The item at an offset, the first one at 0, and where the next one is: length() after the
  // last.
  std::string_view at(guint32 offset) const;
  guint32 following(guint32 offset) const;

  // Whether all items are ids; these.
  bool holds_ids() const { return holds_ids_; }
  const guint64* ids() const { return memory_.get(); }
  const guint64* ids_end() const { return ids() + length_ / sizeof(guint64); }

  // Makes it the batch of `first`, which may be null, and of the items of a bulk read as far
  // as they are wanted. Items that are as long as ids are such if they may be. False, and
  // nothing changed, when memory is short.
  bool take(const DBT* first, const DBT& bulk, guint32 most_items, bool may_hold_ids);

  // The same of other items.
  bool take_ids(const DBT* first, const std::vector<guint64>& ids);
  bool take_texts(const DBT* first, const std::vector<std::string_view>& texts);

  // Drops ids that are greater, of a batch of ids.
  void drop_above(guint64 most);

  // The items from an offset on, at least one, in few bytes, written to `out`, which has
  // most_packed_bytes().
  std::string_view pack(guint32 offset, char* out) const;
  guint32 most_packed_bytes() const { return 1 + length_; }

  // Makes it the batch of `first`, which may be null, and of what was packed. As take(), and
  // false also when ids were packed and `first` is none.
  bool unpack(const DBT* first, std::string_view packed);

 private:
  bool begin(const DBT* first, size_t more_bytes, bool of_ids);
  void append(const void* item, guint32 length);
  char* end() { return reinterpret_cast<char*>(memory_.get()) + length_; }

  std::unique_ptr<guint64[]> memory_;
  guint32 length_ = 0;
  bool holds_ids_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_ITEM_BATCH_H
