// Many puts of a key with an id as one.
#ifndef FENRA_STORE_WRITING_PAIR_ITEM_H
#define FENRA_STORE_WRITING_PAIR_ITEM_H

#include <glib.h>

#include <string_view>
#include <vector>

#include "store/articledb.h"

namespace ostren::fenra::store {

struct KeyedId {
  std::string_view key;
  guint64 id;
};

// An item of the form that DB_MULTIPLE_KEY takes.
class PairItem {
 public:
  // Takes what the iterators, of KeyedId or something derived from it, range over, in the
  // place of what it held. Throws std::bad_alloc.
  template <typename Iterator>
  void fill(Iterator begin, Iterator end) {
    size_t bytes = sizeof(guint32);
    for (Iterator pair = begin; pair != end; ++pair) {
      bytes += pair->key.size() + sizeof pair->id + 4 * sizeof(guint32);
    }
    buffer_.resize(bytes / sizeof(guint32) + 1);
    item_ = DBT{};
    item_.data = buffer_.data();
    item_.ulen = static_cast<guint32>(buffer_.size() * sizeof(guint32));
    void* place = nullptr;
    DB_MULTIPLE_WRITE_INIT(place, &item_);
    for (Iterator pair = begin; pair != end; ++pair) {
      DB_MULTIPLE_KEY_WRITE_NEXT(place, &item_, pair->key.data(), pair->key.size(), &pair->id,
                                 sizeof pair->id);
    }
    empty_ = begin == end;
  }

  // Puts the pairs; they may exist.
  int put(DB* database, DB_TXN* txn) {
    DBT unused{};
    return empty_
               ? 0
               : database->put(database, txn, &item_, &unused, DB_MULTIPLE_KEY | DB_OVERWRITE_DUP);
  }

 private:
  std::vector<guint32> buffer_;
  DBT item_ = {};
  bool empty_ = true;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_PAIR_ITEM_H
