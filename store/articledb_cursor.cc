// Cursors, key lookups and the resolution of article ids.
#include <cerrno>
#include <cstring>

#include "store/articledb.h"
#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/memory.h"
#include "store/process/gate.h"
#include "store/reading/cursor.h"
#include "store/reading/read_memory.h"
#include "store/reading/record_cache.h"

using namespace ostren::fenra::store;

namespace {

bool searches(guint32 operation) { return operation == DB_SET || operation == DB_SET_RANGE; }

// Whether the data items under a key of the database are sorted, so that reading them
// can go on behind any of them.
bool has_lists(DatabaseField database) {
  return database != &ArticledbDb::urldb && database != &ArticledbDb::txtdb;
}

// ---- making and releasing ----

// Gives the cursor its own copy of a key, with the given item flags. Returns
// whether there was memory for it.
bool set_key(Cursor* cursor, const void* key, guint32 length, guint32 flags) {
  cursor->key_bytes = g_try_malloc(MAX(length, 1U));
  if (cursor->key_bytes == nullptr) {
    return false;
  }
  if (length != 0) {
    memcpy(cursor->key_bytes, key, length);
  }
  DBT* item = &cursor->head.key;
  *item = DBT{};
  item->data = cursor->key_bytes;
  item->size = length;
  item->ulen = length;
  item->flags = flags;
  return true;
}

void release_record(Cursor* cursor) {
  cursor->list.release();
  g_free(cursor->key_bytes);
  g_free(cursor);
}

Cursor* new_record(ArticledbDb* db, DatabaseField database, guint32 operation) {
  Cursor* cursor = g_try_new0(Cursor, 1);
  if (cursor != nullptr) {
    cursor->db = db;
    cursor->database = database;
    cursor->head.next_op = operation;
  }
  return cursor;
}

int articledb_get_cursor(ArticledbDb* db, DatabaseField database, ArticledbCursor** out) {
  Cursor* cursor = new_record(db, database, DB_FIRST);
  *out = cursor == nullptr ? nullptr : &cursor->head;
  return cursor == nullptr ? -1 : 0;
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
    ret = read_in_gate(cursor->db, [&] {
      int code = open_dbc(cursor);
      if (code == 0) {
        DBT key = cursor->list_key();
        DBT data = cursor->list.standing();
        code = cursor->head.dbc->get(cursor->head.dbc, &key, &data, DB_GET_BOTH);
      }
      return code;
    });
    cursor->positioned = ret == 0;
  }
  if (ret == 0) {
    cursor->lists = FALSE;
    cursor->list.release();
  }
  return ret;
}

// ---- reading ----

// The operation of a read: the prepared one, or that of the failed read which
// this one repeats. `following` is prepared for the next read.
guint32 take_operation(Cursor* cursor, guint32 following) {
  const guint32 operation = cursor->repeat_op != 0 ? cursor->repeat_op : cursor->head.next_op;
  cursor->repeat_op = 0;
  cursor->head.next_op = following;
  return operation;
}

// Takes the code of a read; returns the read's result.
int read_result(Cursor* cursor, int code, guint32 operation) {
  switch (code) {
    case 0:
      return CURSOR_OK;
    case DB_NOTFOUND:
      cursor->ended = TRUE;
      return CURSOR_END;
    case DB_BUFFER_SMALL:
      // The cursor has not moved, so the same operation finds the same record.
      cursor->repeat_op = operation;
      return code;
    default:
      return code;
  }
}

// One read of the Berkeley DB cursor. After the end the store is not asked again: it
// answers an error where the cursor never had a position.
int read(Cursor* cursor, DBT* key, DBT* data, guint32 operation) {
  if (cursor->ended) {
    return CURSOR_END;
  }
  int ret = leave_list(cursor);
  if (ret != 0) {
    return ret;
  }
  bool lost = false;
  ret = read_in_gate(cursor->db, [&] {
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

// One read of a list, from the batch or with a new one. It may pass over ids less than
// `least`, which is 0 unless the operation is DB_NEXT_DUP.
int read_list(Cursor* cursor, ArticledbBuffer* data, guint32 operation, guint64 least) {
  data->length = 0;
  if (cursor->ended) {
    return CURSOR_END;
  }
  const int code = least == 0 ? cursor->list.read(cursor, operation, data)
                              : cursor->list.read_from(cursor, least, data);
  const int ret = read_result(cursor, code, operation);
  if (ret != CURSOR_OK && ret != CURSOR_END) {
    // A list that has failed to read has not moved.
    cursor->repeat_op = operation;
  }
  return ret;
}

// After a search by a key in the caller's buffer has answered DB_BUFFER_SMALL: the
// key's length has been replaced by that of the record's key, so the search cannot
// be repeated. It is done again now without receiving anything, and the
// repetition reads where it ended.
void stand_on_searched_record(Cursor* cursor, const DBT& search_key, guint32 operation) {
  DBT key = search_key;
  key.flags = DB_DBT_PARTIAL;
  DBT data = ignored_item();
  if (read(cursor, &key, &data, operation) == CURSOR_OK) {
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
  const int ret = read(cursor, &key_item, &data_item, DB_SET);
  data->length = data_item.size;
  return ret;
}

// ---- duplicating ----

// The copy of a list stands where the list does.
int copy_list(const Cursor* cursor, Cursor* copy) {
  copy->lists = TRUE;
  const DBT key = cursor->list_key();
  return copy->list.start_at(key, cursor->list.standing()) ? 0 : -1;
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
  if (ret == 0 && !copy->list.start_at(key, data)) {
    ret = -1;
  }
  dbc->close(dbc);
  copy->lists = TRUE;
  return ret;
}

int duplicate_dbc(Cursor* cursor, Cursor* copy) {
  copy->generation = cursor->generation;
  copy->positioned = TRUE;
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
    return copy_list(cursor, copy);
  }
  if (!cursor->positioned) {
    return 0;
  }
  bool lost = false;
  const int ret = read_in_gate(cursor->db, [&] {
    lost = is_lost(cursor);
    if (lost) {
      return 0;
    }
    return key_only && has_lists(cursor->database) ? read_standing(cursor, copy)
                                                   : duplicate_dbc(cursor, copy);
  });
  return lost ? DB_RUNRECOVERY : ret;
}

int duplicate_cursor(Cursor* cursor, ArticledbCursor** out, const void* key, guint32 length,
                     bool key_only) {
  Cursor* copy = new_record(cursor->db, cursor->database, DB_CURRENT);
  if (copy == nullptr) {
    return -1;
  }
  int ret = set_key(copy, key, length, cursor->head.key.flags) ? 0 : -1;
  if (ret == 0) {
    ret = copy_position(cursor, copy, key_only);
  }
  if (ret != 0) {
    release_record(copy);
    return ret;
  }
  *out = &copy->head;
  return 0;
}

// ---- lookups ----

int articledb_db_lookup_buffer_in_db_with_flags(ArticledbDb* db, DatabaseField database,
                                                ArticledbCursor** out, const void* key,
                                                guint32 length, guint32 operation) {
  const int ret = articledb_get_cursor(db, database, out);
  if (ret != 0) {
    return ret;
  }
  (*out)->next_op = operation;
  if (!set_key(cursor_of(*out), key, length, DB_DBT_USERMEM)) {
    articledb_cursor_close(*out);
    *out = nullptr;
    return -1;
  }
  return 0;
}

int articledb_db_lookup_buffer_in_db(ArticledbDb* db, DatabaseField database, ArticledbCursor** out,
                                     const void* key, guint32 length) {
  const StoredKey stored({static_cast<const char*>(key), length});
  const int ret = articledb_db_lookup_buffer_in_db_with_flags(
      db, database, out, stored.bytes().data(), static_cast<guint32>(stored.bytes().size()),
      DB_SET);
  if (ret == 0) {
    cursor_of(*out)->lists = TRUE;
  }
  return ret;
}

// The result of resolving an id, from the code of the read and the record's length.
int resolution(int code, guint32 length, guint32* size) {
  if (code == 0 || code == DB_BUFFER_SMALL) {
    *size = length;
  }
  switch (code) {
    case DB_BUFFER_SMALL:
      return STATUS_BUFFER_SMALL;
    case DB_NOTFOUND:
      return STATUS_NOT_FOUND;
    default:
      return code;
  }
}

// Looks for a kept record, and gives it to `data` as far as it fits.
bool recall_record(const RecordCache& cache, guint64 id, guint64 changes, DBT* data) {
  RecordCache::Record record;
  if (!cache.find(id, changes, &record)) {
    return false;
  }
  data->size = record.length;
  if (data->size != 0 && data->size <= data->ulen) {
    memcpy(data->data, record.bytes, record.length);
  }
  return true;
}

int article_db_lookup_id_to_buffer(ArticledbDb* db, DatabaseField database, guint64 id,
                                   void* buffer, guint32* size) {
  DBT data = output_item(buffer, *size);
  const int ret = get_record(db, database, id_item(&id), &data, 0);
  return resolution(ret, data.size, size);
}

}  // namespace

// ---- whole databases ----

int articledb_db_get_urls(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::urldb, cursor);
}

int articledb_db_get_forms(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::formdb, cursor);
}

int articledb_db_get_trigrams(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::trigramdb, cursor);
}

int articledb_db_get_lemmas(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::lemmadb, cursor);
}

int articledb_db_get_sources(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::sourcedb, cursor);
}

int articledb_db_get_txts(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::txtdb, cursor);
}

int articledb_db_get_dates(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db, &ArticledbDb::datedb, cursor);
}

// ---- reads ----

int articledb_cursor_next_key(ArticledbCursor* cursor, ArticledbBuffer* key) {
  Cursor* c = cursor_of(cursor);
  DBT key_item = buffer_item(key);
  DBT data_item = ignored_item();
  const int ret = read(c, &key_item, &data_item, take_operation(c, DB_NEXT_NODUP));
  key->length = key_item.size;
  return ret;
}

int articledb_cursor_next_data(ArticledbCursor* cursor, ArticledbBuffer* data) {
  Cursor* c = cursor_of(cursor);
  DBT key_item = ignored_item();
  DBT data_item = buffer_item(data);
  take_operation(c, DB_NEXT);
  const int ret = read(c, &key_item, &data_item, DB_NEXT);
  data->length = data_item.size;
  return ret;
}

int articledb_cursor_next_data_dup(ArticledbCursor* cursor, ArticledbBuffer* data) {
  Cursor* c = cursor_of(cursor);
  const guint32 operation = take_operation(c, DB_NEXT_DUP);
  if (c->lists && ItemList::knows(operation)) {
    return read_list(c, data, operation, 0);
  }
  // A looked-up key is only searched by, and never written to.
  DBT looked_up = searches(operation) ? cursor->key : ignored_item();
  looked_up.flags &= ~DB_DBT_USERMEM;
  DBT* key_item = (cursor->key.flags & DB_DBT_USERMEM) != 0 ? &looked_up : &cursor->key;
  DBT data_item = buffer_item(data);
  const int ret = read(c, key_item, &data_item, operation);
  data->length = data_item.size;
  return ret;
}

int ostren::fenra::store::cursor_next_id_from(ArticledbCursor* cursor, guint64 least,
                                              ArticledbBuffer* data) {
  Cursor* c = cursor_of(cursor);
  if (!c->lists || c->repeat_op != 0 || cursor->next_op != DB_NEXT_DUP) {
    return articledb_cursor_next_data_dup(cursor, data);
  }
  return read_list(c, data, DB_NEXT_DUP, least);
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
  const int ret = read(c, &key_item, &data_item, operation);
  if (ret == DB_BUFFER_SMALL && searches(operation)) {
    stand_on_searched_record(c, search_key, operation);
  }
  key->length = key_item.size;
  data->length = data_item.size;
  return ret;
}

// ---- closing and duplicating ----

int articledb_cursor_close(ArticledbCursor* cursor) {
  Cursor* c = cursor_of(cursor);
  int ret = 0;
  if (cursor->dbc != nullptr) {
    // With its environment the Berkeley DB cursor is gone as well.
    ret = read_in_gate(c->db, [c] {
      DBC* dbc = c->head.dbc;
      c->head.dbc = nullptr;
      if (dbc == nullptr || c->generation != gate_generation(c->db)) {
        return 0;
      }
      gate_cursor_closed(c->db);
      return dbc->close(dbc);
    });
  }
  release_record(c);
  return ret;
}

int articledb_cursor_dup(ArticledbCursor* cursor, ArticledbCursor** out) {
  return duplicate_cursor(cursor_of(cursor), out, cursor->key.data, cursor->key.size, false);
}

int articledb_cursor_dup_with_key_data(ArticledbCursor* cursor, ArticledbCursor** out,
                                       const char* key, guint32 length) {
  return duplicate_cursor(cursor_of(cursor), out, key, length, true);
}

// ---- key lookups ----

int articledb_db_lookup_form(ArticledbDb* db, ArticledbCursor** cursor, const char* form,
                             guint32 length) {
  return articledb_db_lookup_buffer_in_db(db, &ArticledbDb::formdb, cursor, form, length);
}

int articledb_db_lookup_lemma(ArticledbDb* db, ArticledbCursor** cursor, const char* lemma,
                              guint32 length) {
  return articledb_db_lookup_buffer_in_db(db, &ArticledbDb::lemmadb, cursor, lemma, length);
}

int articledb_db_lookup_source(ArticledbDb* db, ArticledbCursor** cursor, const char* source,
                               guint32 length) {
  return articledb_db_lookup_buffer_in_db(db, &ArticledbDb::sourcedb, cursor, source, length);
}

int articledb_db_lookup_date(ArticledbDb* db, ArticledbCursor** cursor, guint32 date) {
  return articledb_db_lookup_buffer_in_db(db, &ArticledbDb::datedb, cursor, &date, sizeof date);
}

int articledb_db_lookup_trigram(ArticledbDb* db, ArticledbCursor** cursor, const char* trigram,
                                guint32 length) {
  *cursor = nullptr;
  char key_bytes[TRIGRAM_BUILDER_TRIGRAM_SIZE];
  if (length > sizeof key_bytes) {
    return EINVAL;
  }
  const int ret = articledb_db_lookup_buffer_in_db_with_flags(db, &ArticledbDb::trigramdb, cursor,
                                                              trigram, length, DB_SET_RANGE);
  if (ret != 0) {
    return ret;
  }
  if (length != 0) {
    memcpy(key_bytes, trigram, length);
  }
  guint64 id = 0;
  ArticledbBuffer key = {key_bytes, sizeof key_bytes, length};
  ArticledbBuffer data = {&id, sizeof id, 0};
  const int found = articledb_cursor_next_key_and_data(*cursor, &key, &data);
  switch (found) {
    case CURSOR_OK:
      (*cursor)->next_op = DB_CURRENT;
      return 0;
    case CURSOR_END:
      // The cursor has no position: its next read starts at the first key.
      cursor_of(*cursor)->ended = FALSE;
      return 0;
    default:
      articledb_cursor_close(*cursor);
      *cursor = nullptr;
      return found;
  }
}

// ---- id resolution ----

int articledb_db_lookup_id_to_url(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  RecordCache* cache = url_records_of(db);
  DBT data = output_item(buffer, *size);
  if (cache != nullptr && recall_record(*cache, id, gate_changes(db), &data)) {
    return resolution(data.size > data.ulen ? DB_BUFFER_SMALL : 0, data.size, size);
  }
  const int ret = read_in_gate(db, [&] {
    cache->carry_over(gate_changes(db), gate_replacements(db));
    if (recall_record(*cache, id, gate_changes(db), &data)) {
      return data.size > data.ulen ? DB_BUFFER_SMALL : 0;
    }
    DBT key = id_item(&id);
    const int code = db->urldb->get(db->urldb, nullptr, &key, &data, 0);
    if (code == 0) {
      cache->add(id, gate_changes(db), {static_cast<const char*>(buffer), data.size});
    }
    return code;
  });
  return resolution(ret, data.size, size);
}

int articledb_db_lookup_id_to_txt(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  return article_db_lookup_id_to_buffer(db, &ArticledbDb::txtdb, id, buffer, size);
}
