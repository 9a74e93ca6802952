// Store cursors: reading, closing and duplicating.
#include "store/reading/cursor.h"

#include <cerrno>
#include <memory>

#include "store/articledb.h"
#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"

using namespace ostren::fenra::store;

namespace {

bool searches(guint32 operation) { return operation == DB_SET || operation == DB_SET_RANGE; }

// The operation of a read: the prepared one, or that of the failed read which
// this one repeats. `following` is prepared for the next read.
guint32 take_operation(Cursor* cursor, guint32 following) {
  const guint32 operation = cursor->repeat_op != 0 ? cursor->repeat_op : cursor->head.next_op;
  cursor->repeat_op = 0;
  cursor->head.next_op = following;
  return operation;
}

// After a search by a key in the caller's buffer has answered DB_BUFFER_SMALL: the
// key's length has been replaced by that of the record's key, so the search cannot
// be repeated. It is done again now without receiving anything, and the
// repetition reads where it ended.
void stand_on_searched_record(Cursor* cursor, const DBT& search_key, guint32 operation) {
  DBT key = search_key;
  key.flags = DB_DBT_PARTIAL;
  DBT data = ignored_item();
  if (cursor_read(cursor, &key, &data, operation) == CURSOR_OK) {
    cursor->repeat_op = DB_CURRENT;
  }
}

DBT buffer_item(const ArticledbBuffer* buffer) {
  return output_item(buffer->data, buffer->capacity);
}

// Searches a key that is stored as a shorter one, and leaves it as the caller has it.
int next_of_long_key(Cursor* cursor, std::string_view key, ArticledbBuffer* data) {
  const StoredKey stored(key);
  DBT key_item = input_item(stored.bytes());
  DBT data_item = buffer_item(data);
  const int ret = cursor_read(cursor, &key_item, &data_item, DB_SET);
  data->length = data_item.size;
  return ret;
}

}  // namespace

int articledb_cursor_next_key(ArticledbCursor* cursor, ArticledbBuffer* key) {
  Cursor* c = cursor_of(cursor);
  DBT key_item = buffer_item(key);
  DBT data_item = ignored_item();
  const int ret = cursor_read(c, &key_item, &data_item, take_operation(c, DB_NEXT_NODUP));
  key->length = key_item.size;
  return ret;
}

int articledb_cursor_next_data(ArticledbCursor* cursor, ArticledbBuffer* data) {
  Cursor* c = cursor_of(cursor);
  DBT key_item = ignored_item();
  DBT data_item = buffer_item(data);
  take_operation(c, DB_NEXT);
  const int ret = cursor_read(c, &key_item, &data_item, DB_NEXT);
  data->length = data_item.size;
  return ret;
}

int articledb_cursor_next_data_dup(ArticledbCursor* cursor, ArticledbBuffer* data) {
  Cursor* c = cursor_of(cursor);
  const guint32 operation = take_operation(c, DB_NEXT_DUP);
  if (c->lists && ItemList::knows(operation)) {
    return cursor_read_list(c, data, operation);
  }
  // A looked-up key is only searched by, and never written to.
  DBT looked_up = searches(operation) ? cursor->key : ignored_item();
  looked_up.flags &= ~DB_DBT_USERMEM;
  DBT* key_item = (cursor->key.flags & DB_DBT_USERMEM) != 0 ? &looked_up : &cursor->key;
  DBT data_item = buffer_item(data);
  const int ret = cursor_read(c, key_item, &data_item, operation);
  data->length = data_item.size;
  return ret;
}

int articledb_cursor_next_key_and_data(ArticledbCursor* cursor, ArticledbBuffer* key,
                                       ArticledbBuffer* data) {
  Cursor* c = cursor_of(cursor);
  const guint32 operation = take_operation(c, DB_NEXT);
  DBT key_item = buffer_item(key);
  key_item.size = key->length;
  DBT data_item = buffer_item(data);
  const DBT search_key = key_item;
  if (searches(operation) && search_key.size > search_key.ulen) {
    return EINVAL;
  }
  if (operation == DB_SET && search_key.size > MOST_STORED_BYTES) {
    return next_of_long_key(c, {static_cast<const char*>(key->data), key->length}, data);
  }
  const int ret = cursor_read(c, &key_item, &data_item, operation);
  if (ret == DB_BUFFER_SMALL && searches(operation)) {
    stand_on_searched_record(c, search_key, operation);
  }
  key->length = key_item.size;
  data->length = data_item.size;
  return ret;
}

int articledb_cursor_close(ArticledbCursor* cursor) {
  const std::unique_ptr<Cursor> c(cursor_of(cursor));
  if (cursor->dbc == nullptr) {
    return 0;
  }
  // With its environment the Berkeley DB cursor is gone as well.
  return read_in_gate(c->db, [&c] {
    DBC* dbc = c->head.dbc;
    c->head.dbc = nullptr;
    if (dbc == nullptr || c->generation != gate_generation(c->db)) {
      return 0;
    }
    gate_cursor_closed(c->db);
    return dbc->close(dbc);
  });
}

int articledb_cursor_dup(ArticledbCursor* cursor, ArticledbCursor** out) {
  return cursor_duplicate(cursor_of(cursor), out, cursor->key.data, cursor->key.size, false);
}

int articledb_cursor_dup_with_key_data(ArticledbCursor* cursor, ArticledbCursor** out,
                                       const char* key, guint32 length) {
  return cursor_duplicate(cursor_of(cursor), out, key, length, true);
}
