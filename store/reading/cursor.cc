#include "store/reading/cursor.h"

#include <cstring>
#include <new>

#include "store/layout/database.h"

namespace ostren::fenra::store {
namespace {

// Null when memory is short.
std::unique_ptr<char[]> copy_of(const void* bytes, guint32 length) {
  std::unique_ptr<char[]> copy(new (std::nothrow) char[MAX(length, 1U)]);
  if (copy != nullptr && length != 0) {
    memcpy(copy.get(), bytes, length);
  }
  return copy;
}

// Whether the data items under a key of the database are sorted, so that reading them
// can go on behind any of them.
bool has_lists(DatabaseField database) {
  return database != &ArticledbDb::urldb && database != &ArticledbDb::txtdb;
}

DBT list_key(const Cursor* cursor) {
  return cursor->list_key != nullptr ? input_item(cursor->list_key.get(), cursor->list_key_length)
                                     : input_item(cursor->head.key.data, cursor->head.key.size);
}

// ---- the Berkeley DB cursor ----

// Whether the cursor has lost its position, with the environment that it was in.
bool is_lost(const Cursor* cursor) {
  return cursor->positioned && cursor->generation != gate_generation(cursor->db);
}

// Opens the Berkeley DB cursor where there is none. Under the gate.
int open_dbc(Cursor* cursor) {
  const guint64 generation = gate_generation(cursor->db);
  if (cursor->head.dbc != nullptr && cursor->generation == generation) {
    return 0;
  }
  cursor->head.dbc = nullptr;
  cursor->generation = generation;
  DB* database = cursor->db->*cursor->database;
  const int ret = database->cursor(database, nullptr, &cursor->head.dbc, 0);
  if (ret == 0) {
    gate_cursor_opened(cursor->db);
  }
  return ret;
}

// Gives up reading the list in batches: the Berkeley DB cursor takes its place.
int leave_list(Cursor* cursor) {
  if (!cursor->lists) {
    return 0;
  }
  int ret = 0;
  if (cursor->list.stands()) {
    ret = read_databases_in_gate(cursor->db, [&] {
      int code = open_dbc(cursor);
      if (code == 0) {
        DBT key = list_key(cursor);
        DBT data = cursor->list.standing();
        code = cursor->head.dbc->get(cursor->head.dbc, &key, &data, DB_GET_BOTH);
      }
      return code;
    });
    cursor->positioned = ret == 0;
  }
  if (ret == 0) {
    cursor->lists = false;
    cursor->list = ItemList();
  }
  return ret;
}

// Takes the code of a read; returns the read's result.
int read_result(Cursor* cursor, int code, guint32 operation) {
  switch (code) {
    case 0:
      return CURSOR_OK;
    case DB_NOTFOUND:
      cursor->ended = true;
      return CURSOR_END;
    case DB_BUFFER_SMALL:
      // The cursor has not moved, so the same operation finds the same record.
      cursor->repeat_op = operation;
      return code;
    default:
      return code;
  }
}

// ---- duplicating ----

// Makes the copy stand on an item of the list under a key.
int start_list(Cursor* copy, const DBT& key, const DBT& item) {
  copy->lists = true;
  copy->list_key = copy_of(key.data, key.size);
  copy->list_key_length = key.size;
  return copy->list_key != nullptr && copy->list.start_at(item) ? 0 : -1;
}

// Reads the record that the Berkeley DB cursor stands on, through a second one: the
// first one's memory may be in the caller's hands.
int read_standing(Cursor* cursor, Cursor* copy) {
  DBC* dbc = nullptr;
  int ret = cursor->head.dbc->dup(cursor->head.dbc, &dbc, DB_POSITION);
  if (ret != 0) {
    return ret;
  }
  DBT key{};
  DBT data{};
  ret = dbc->get(dbc, &key, &data, DB_CURRENT);
  if (ret == 0) {
    ret = start_list(copy, key, data);
  }
  dbc->close(dbc);
  return ret;
}

int duplicate_dbc(Cursor* cursor, Cursor* copy) {
  copy->generation = cursor->generation;
  copy->positioned = true;
  const int ret = cursor->head.dbc->dup(cursor->head.dbc, &copy->head.dbc, DB_POSITION);
  if (ret == 0) {
    gate_cursor_opened(cursor->db);
  }
  return ret;
}

// Gives the copy the position of the cursor. One that only has to read on under its
// key becomes a list, which holds nothing.
int copy_position(Cursor* cursor, Cursor* copy, bool key_only) {
  if (cursor->lists) {
    return start_list(copy, list_key(cursor), cursor->list.standing());
  }
  if (!cursor->positioned) {
    return 0;
  }
  bool lost = false;
  const int ret = read_databases_in_gate(cursor->db, [&] {
    lost = is_lost(cursor);
    if (lost) {
      return 0;
    }
    return key_only && has_lists(cursor->database) ? read_standing(cursor, copy)
                                                   : duplicate_dbc(cursor, copy);
  });
  return lost ? DB_RUNRECOVERY : ret;
}

}  // namespace

Cursor* cursor_new(ArticledbDb* db, DatabaseField database, guint32 operation) {
  auto* cursor = new (std::nothrow) Cursor;
  if (cursor != nullptr) {
    cursor->db = db;
    cursor->database = database;
    cursor->head.next_op = operation;
  }
  return cursor;
}

Cursor* cursor_of_trigram_new(ArticledbDb* db, const char* trigram, guint32 length) {
  std::unique_ptr<Cursor> cursor(cursor_new(db, &ArticledbDb::trigramdb, DB_SET));
  if (cursor == nullptr || !cursor_set_key(cursor.get(), trigram, length, DB_DBT_USERMEM)) {
    return nullptr;
  }
  cursor->lists = true;
  return cursor.release();
}

bool cursor_set_key(Cursor* cursor, const void* key, guint32 length, guint32 flags) {
  cursor->key_bytes = copy_of(key, length);
  if (cursor->key_bytes == nullptr) {
    return false;
  }
  DBT* item = &cursor->head.key;
  *item = input_item(cursor->key_bytes.get(), length);
  item->ulen = length;
  item->flags = flags;
  return true;
}

int cursor_read(Cursor* cursor, DBT* key, DBT* data, guint32 operation) {
  // After the end the store is not asked again: it answers an error where the cursor never
  // had a position.
  if (cursor->ended) {
    return CURSOR_END;
  }
  int ret = leave_list(cursor);
  if (ret != 0) {
    return ret;
  }
  bool lost = false;
  ret = read_databases_in_gate(cursor->db, [&] {
    lost = is_lost(cursor);
    int code = lost ? 0 : open_dbc(cursor);
    if (code == 0 && !lost) {
      code = cursor->head.dbc->get(cursor->head.dbc, key, data, operation);
      cursor->positioned = cursor->positioned || code == 0;
    }
    return code;
  });
  return lost ? DB_RUNRECOVERY : read_result(cursor, ret, operation);
}

int cursor_read_list(Cursor* cursor, ArticledbBuffer* data, guint32 operation) {
  data->length = 0;
  if (cursor->ended) {
    return CURSOR_END;
  }
  const ItemList::Source source = {cursor->db, cursor->database, list_key(cursor)};
  const int ret = read_result(cursor, cursor->list.read(source, operation, data), operation);
  if (ret != CURSOR_OK && ret != CURSOR_END) {
    // A list that has failed to read has not moved.
    cursor->repeat_op = operation;
  }
  return ret;
}

int cursor_duplicate(Cursor* cursor, ArticledbCursor** out, const void* key, guint32 length,
                     bool key_only) {
  std::unique_ptr<Cursor> copy(cursor_new(cursor->db, cursor->database, DB_CURRENT));
  if (copy == nullptr || !cursor_set_key(copy.get(), key, length, cursor->head.key.flags)) {
    return -1;
  }
  const int ret = copy_position(cursor, copy.get(), key_only);
  if (ret == 0) {
    *out = &copy.release()->head;
  }
  return ret;
}

}  // namespace ostren::fenra::store
