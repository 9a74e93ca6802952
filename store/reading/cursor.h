// The private side of store cursors: the record behind ArticledbCursor, and the list
// of the data items under one key, which is read without holding a place in the store.
#ifndef FENRA_STORE_READING_CURSOR_H
#define FENRA_STORE_READING_CURSOR_H

#include <glib.h>

#include "store/articledb.h"
#include "store/process/gate.h"
#include "store/reading/list_cache.h"

namespace ostren::fenra::store {

struct Cursor;

// The data items under a key, in their order, read in batches: between two reads the
// list knows the last item it has delivered, and nothing in Berkeley DB knows of the
// list. So it goes on after any change to the store, and delivers items that were
// added behind its place meanwhile. Zero-filled when made; there may be very many, so
// each keeps no more than it has to.
struct ItemList {
  // Whether the list can do the read operation by itself.
  static bool knows(guint32 operation);

  // Does DB_SET: the first item under the cursor's key; DB_NEXT_DUP: the item after the
  // one it stands on; or DB_CURRENT: that one itself. Returns 0; DB_NOTFOUND;
  // DB_BUFFER_SMALL, without moving; EINVAL, as Berkeley DB, when it stands nowhere;
  // or another code. data->length is set when there is an item.
  int read(Cursor* cursor, guint32 operation, ArticledbBuffer* data);

  bool stands() const { return batch != nullptr; }

  // For a list of ids in their own order: reads as DB_NEXT_DUP does, but passes over the
  // ids less than `least`, and where they are many without reading them.
  int read_from(Cursor* cursor, guint64 least, ArticledbBuffer* data);

  // The item it stands on; empty when it stands nowhere.
  DBT standing() const;

  // Makes a new list stand on an item under a key; nowhere when the item has no memory.
  // Returns whether there was memory for it.
  bool start_at(const DBT& list_key, const DBT& item);

  void release();

  // The key, where it differs from the cursor's own; else null.
  char* key;
  guint32 key_length;
  // Items; the first was delivered before the rest was read. When all are as long as an
  // id they follow each other, otherwise each comes after its length of 4 bytes. Null
  // when the list stands nowhere.
  char* batch;
  guint32 batch_length;
  guint32 place;       // offset of the item the list stands on
  guint32 next_items;  // upper bound of the next batch, in items
  gboolean of_ids;     // the items have no lengths

 private:
  int refill(Cursor* cursor, guint32 operation, const guint64* least);
  int fetch(Cursor* cursor, guint32 operation, const guint64* least, guint32 size,
            const BatchName& name);
  int recall(Cursor* cursor, guint32 operation, const BatchName& name);
  void keep(Cursor* cursor, guint32 operation, guint64 changes, const BatchName& name, int code);
  BatchName name_next(const Cursor* cursor, guint32 operation, const guint64* least) const;
  bool take(const DBT* standing, const DBT& bulk);
  int deliver(guint32 offset, ArticledbBuffer* data);
  guint32 length_at(guint32 offset) const;
  const char* bytes_at(guint32 offset) const;
  guint32 following(guint32 offset) const;
};

// A store cursor with what hosts do not see of it. It reads either the list or through
// `head.dbc`; head.dbc is null until the first read that needs it.
struct Cursor {
  ArticledbCursor head;  // first
  ArticledbDb* db;
  DatabaseField database;
  guint64 generation;   // of the environment that head.dbc is in
  gboolean positioned;  // head.dbc has, or had, a position
  gboolean ended;       // a read has given CURSOR_END
  guint32 repeat_op;    // operation of a read that answered DB_BUFFER_SMALL, or 0
  gboolean lists;       // reads `list`
  ItemList list;
  void* key_bytes;  // the cursor's own copy of a key, owned; may be null

  // The key of the list.
  DBT list_key() const;
};

// Consecutive ids of a list.
struct Ids {
  const guint64* begin;
  const guint64* end;

  bool empty() const { return begin == end; }

  // Drops the ids less than `least`, in steps that grow with the way.
  void drop_below(guint64 least);
};

// The ids that the batch of a list holds behind the one that was read last: they count
// as read by this, and are valid until the next read. None of other cursors.
Ids cursor_take_ids(ArticledbCursor* cursor);

// articledb_cursor_next_data_dup, which may pass over ids less than `least`.
int cursor_next_id_from(ArticledbCursor* cursor, guint64 least, ArticledbBuffer* data);

inline Cursor* cursor_of(ArticledbCursor* cursor) { return reinterpret_cast<Cursor*>(cursor); }

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_CURSOR_H
