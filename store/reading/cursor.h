// The private side of store cursors: the record behind ArticledbCursor.
#ifndef FENRA_STORE_READING_CURSOR_H
#define FENRA_STORE_READING_CURSOR_H

#include <glib.h>

#include <memory>

#include "store/articledb.h"
#include "store/process/gate.h"
#include "store/reading/item_list.h"

namespace ostren::fenra::store {

// A store cursor with what hosts do not see of it. It reads either the list or through
// `head.dbc`; head.dbc is null until the first read that needs it.
struct Cursor {
  ArticledbCursor head = {};  // first
  ArticledbDb* db = nullptr;
  DatabaseField database = nullptr;
  guint64 generation = 0;   // of the environment that head.dbc is in
  bool positioned = false;  // head.dbc has, or had, a position
  bool ended = false;       // a read has given CURSOR_END
  guint32 repeat_op = 0;    // operation of a read that answered DB_BUFFER_SMALL, or 0
  // Reads `list`, the one under `list_key`, or without that under head.key.
  bool lists = false;
  ItemList list;
  std::unique_ptr<char[]> list_key;
  guint32 list_key_length = 0;
  std::unique_ptr<char[]> key_bytes;  // the cursor's own copy of a key; may be null
};

inline Cursor* cursor_of(ArticledbCursor* cursor) { return reinterpret_cast<Cursor*>(cursor); }

// Null when memory is short.
Cursor* cursor_new(ArticledbDb* db, DatabaseField database, guint32 operation);

// A cursor on the ids under a whole trigram. Null when memory is short.
Cursor* cursor_of_trigram_new(ArticledbDb* db, const char* trigram, guint32 length);

// Gives the cursor its own copy of a key, with the given item flags. Returns whether there
// was memory for it.
bool cursor_set_key(Cursor* cursor, const void* key, guint32 length, guint32 flags);

// The reads return a read's result, CURSOR_OK or another one. That of the Berkeley DB cursor
// takes the place of the list's, for good.
int cursor_read(Cursor* cursor, DBT* key, DBT* data, guint32 operation);
int cursor_read_list(Cursor* cursor, ArticledbBuffer* data, guint32 operation);

// Makes a copy that stands where the cursor does, with its own copy of the key. `key_only`:
// it only has to read on under its key. Returns 0, -1 or the code of Berkeley DB.
int cursor_duplicate(Cursor* cursor, ArticledbCursor** out, const void* key, guint32 length,
                     bool key_only);

// What the cursor has read ahead: of any but a list of ids, nothing.
inline ReadAhead* cursor_read_ahead(ArticledbCursor* cursor) {
  return cursor_of(cursor)->list.ahead();
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_CURSOR_H
