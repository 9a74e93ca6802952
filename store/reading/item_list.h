// The list of the data items under one key, which is read without holding a place in the
// store.
#ifndef FENRA_STORE_READING_ITEM_LIST_H
#define FENRA_STORE_READING_ITEM_LIST_H

#include <glib.h>

#include <memory>

#include "store/articledb.h"
#include "store/process/gate.h"
#include "store/reading/item_batch.h"
#include "store/reading/read_cache.h"

namespace ostren::fenra::store {

// The ids that a list has read from the store and not delivered. Whoever reads the list may
// take them from here, and they count as delivered then: nobody else keeps ids that were
// read ahead.
struct ReadAhead {
  const guint64* begin;
  const guint64* end;
  guint64 least;  // the next read of the list may pass over ids that are less

  bool empty() const { return begin == end; }

  // Drops the ids less than `id`, in steps that grow with the way.
  void drop_below(guint64 id);
};

// Reads in batches. Between two reads the list knows the last item it has delivered, and
// nothing in Berkeley DB knows of the list. So it goes on after any change to the store, and
// delivers items that were added behind its place meanwhile. There may be very many lists,
// so each keeps no more than it has to.
class ItemList {
 public:
  // Where its items are.
  struct Source {
    ArticledbDb* db;
    DatabaseField database;
    DBT key;
  };

  // Whether the list can do the read operation by itself.
  static bool knows(guint32 operation);

  // Does DB_SET: the first item under the key; DB_NEXT_DUP: the item after the one it stands
  // on, or after that the first that is not to be passed over, where they are many without
  // reading them; or DB_CURRENT: the one it stands on. Returns 0; DB_NOTFOUND;
  // DB_BUFFER_SMALL, without moving; EINVAL, as Berkeley DB, when it stands nowhere; or
  // another code. data->length is set when there is an item.
  int read(const Source& source, guint32 operation, ArticledbBuffer* data);

  bool stands() const { return !batch_.empty(); }

  // The item it stands on; empty when it stands nowhere.
  DBT standing() const;

  // Makes a new list stand on an item; nowhere when the item has no memory. Returns whether
  // there was memory for it.
  bool start_at(const DBT& item);

  // Always empty for items that are not ids.
  ReadAhead* ahead() { return &ahead_; }

 private:
  struct Start;

  guint32 place() const;
  void stand_at(guint32 offset);
  int deliver(guint32 offset, ArticledbBuffer* data);
  int read_on(const Source& source, guint64 least);
  int refill(const Source& source, const Start& start);
  int refill_ids(const Source& source, const Start& start, const WaitingView& waiting);
  int refill_forms(const Source& source, const Start& start, const WaitingView& waiting);
  int refill_from_databases(const Source& source, const Start& start);
  int fetch(const Source& source, const Start& start, guint32 room, const ReadName& name);
  ReadName name_of(const Source& source, const Start& start) const;
  void keep(const Source& source, const Start& start, const ReadName& name, bool found) const;
  bool recall(const Source& source, const Start& start, const ReadName& name, int* code);

  // The first item was delivered before the others were read, unless the batch begins the
  // list. Empty when the list stands nowhere.
  ItemBatch batch_;
  guint32 place_ = 0;       // offset of the item it stands on, unless the batch is of ids
  guint32 next_items_ = 0;  // upper bound of the next batch, in items
  ReadAhead ahead_ = {};
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_ITEM_LIST_H
