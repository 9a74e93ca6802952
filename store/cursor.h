// The private side of store cursors: the record behind ArticledbCursor, and the list
// of the data items under one key, which is read without holding a place in the store.
#ifndef FENRA_STORE_CURSOR_H
#define FENRA_STORE_CURSOR_H

#include <glib.h>

#include "store/articledb.h"
#include "store/gate.h"

namespace ostren {
namespace fenra {
namespace store {

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

  // The item it stands on; empty when it stands nowhere.
  DBT standing() const;

  // Makes a new list stand on an item under a key; nowhere when the item has no memory.
  // Returns whether there was memory for it.
  bool start_at(const DBT& list_key, const DBT& item);

  void release();

  // The key, where it differs from the cursor's own; else null.
  char* key;
  guint32 key_length;
  // Items, each after its length of 4 bytes; the first was delivered before the rest
  // was read. Null when the list stands nowhere.
  char* batch;
  guint32 batch_length;
  guint32 place;       // offset of the item the list stands on
  guint32 next_items;  // upper bound of the next batch, in items

 private:
  int refill(Cursor* cursor, guint32 operation);
  int fetch(Cursor* cursor, guint32 operation, guint32 size);
  bool take(const DBT* standing, const DBT& bulk);
  int deliver(guint32 offset, ArticledbBuffer* data);
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

inline Cursor* cursor_of(ArticledbCursor* cursor) { return reinterpret_cast<Cursor*>(cursor); }

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_CURSOR_H
