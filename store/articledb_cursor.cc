// Cursors, key lookups and the resolution of article ids.
#include <cerrno>
#include <cstring>

#include "store/articledb.h"
#include "store/database.h"

using ostren::fenra::store::get_record;
using ostren::fenra::store::id_item;
using ostren::fenra::store::ignored_item;
using ostren::fenra::store::output_item;
using ostren::fenra::store::retry_deadlock;

namespace {

bool searches(guint32 operation) { return operation == DB_SET || operation == DB_SET_RANGE; }

// ---- making and releasing ----

// Gives the cursor its own copy of a key, with the given item flags. Returns
// whether there was memory for it.
bool set_key(ArticledbCursor* cursor, const void* key, guint32 length, guint32 flags) {
  cursor->key_bytes = g_try_malloc(MAX(length, 1U));
  if (cursor->key_bytes == nullptr) {
    return false;
  }
  if (length != 0) {
    memcpy(cursor->key_bytes, key, length);
  }
  cursor->key = DBT{};
  cursor->key.data = cursor->key_bytes;
  cursor->key.size = length;
  cursor->key.ulen = length;
  cursor->key.flags = flags;
  return true;
}

void release_record(ArticledbCursor* cursor) {
  g_free(cursor->key_bytes);
  g_free(cursor);
}

int articledb_get_cursor(DB* database, ArticledbCursor** out) {
  ArticledbCursor* cursor = g_try_new0(ArticledbCursor, 1);
  *out = cursor;
  if (cursor == nullptr) {
    return -1;
  }
  cursor->next_op = DB_FIRST;
  const int ret = database->cursor(database, nullptr, &cursor->dbc, 0);
  if (ret != 0) {
    release_record(cursor);
    *out = nullptr;
  }
  return ret;
}

int duplicate_cursor(ArticledbCursor* cursor, ArticledbCursor** out, const void* key,
                     guint32 length) {
  ArticledbCursor* copy = g_try_new0(ArticledbCursor, 1);
  if (copy == nullptr) {
    return -1;
  }
  copy->next_op = DB_CURRENT;
  int ret = set_key(copy, key, length, cursor->key.flags) ? 0 : -1;
  if (ret == 0) {
    ret = cursor->dbc->dup(cursor->dbc, &copy->dbc, DB_POSITION);
  }
  if (ret != 0) {
    release_record(copy);
    return ret;
  }
  *out = copy;
  return 0;
}

// ---- reading ----

// The operation of a read: the prepared one, or that of the failed read which
// this one repeats. `following` is prepared for the next read.
guint32 take_operation(ArticledbCursor* cursor, guint32 following) {
  const guint32 operation = cursor->repeat_op != 0 ? cursor->repeat_op : cursor->next_op;
  cursor->repeat_op = 0;
  cursor->next_op = following;
  return operation;
}

// One Berkeley DB read as a read result. After the end the store is not asked
// again: it answers an error where the cursor never had a position.
int read(ArticledbCursor* cursor, DBT* key, DBT* data, guint32 operation) {
  if (cursor->ended != FALSE) {
    return CURSOR_END;
  }
  DBC* dbc = cursor->dbc;
  const int ret = retry_deadlock([&] { return dbc->get(dbc, key, data, operation); });
  switch (ret) {
    case 0:
      return CURSOR_OK;
    case DB_NOTFOUND:
      cursor->ended = TRUE;
      return CURSOR_END;
    case DB_BUFFER_SMALL:
      // The cursor has not moved, so the same operation finds the same record.
      cursor->repeat_op = operation;
      return ret;
    default:
      return ret;
  }
}

// After a search by a key in the caller's buffer has answered DB_BUFFER_SMALL: the
// key's length has been replaced by that of the record's key, so the search cannot
// be repeated. It is done again now without receiving anything, and the
// repetition reads where it ended.
void stand_on_searched_record(ArticledbCursor* cursor, const DBT& search_key, guint32 operation) {
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

// ---- lookups ----

int articledb_db_lookup_buffer_in_db_with_flags(DB* database, ArticledbCursor** out,
                                                const void* key, guint32 length,
                                                guint32 operation) {
  const int ret = articledb_get_cursor(database, out);
  if (ret != 0) {
    return ret;
  }
  (*out)->next_op = operation;
  if (!set_key(*out, key, length, DB_DBT_USERMEM)) {
    articledb_cursor_close(*out);
    *out = nullptr;
    return -1;
  }
  return 0;
}

int articledb_db_lookup_buffer_in_db(DB* database, ArticledbCursor** out, const void* key,
                                     guint32 length) {
  return articledb_db_lookup_buffer_in_db_with_flags(database, out, key, length, DB_SET);
}

int article_db_lookup_id_to_buffer(DB* database, guint64 id, void* buffer, guint32* size) {
  DBT data = output_item(buffer, *size);
  const int ret = get_record(database, nullptr, id_item(&id), &data, 0);
  if (ret == 0 || ret == DB_BUFFER_SMALL) {
    *size = data.size;
  }
  switch (ret) {
    case DB_BUFFER_SMALL:
      return STATUS_BUFFER_SMALL;
    case DB_NOTFOUND:
      return STATUS_NOT_FOUND;
    default:
      return ret;
  }
}

}  // namespace

// ---- whole databases ----

int articledb_db_get_urls(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->urldb, cursor);
}

int articledb_db_get_forms(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->formdb, cursor);
}

int articledb_db_get_trigrams(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->trigramdb, cursor);
}

int articledb_db_get_lemmas(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->lemmadb, cursor);
}

int articledb_db_get_sources(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->sourcedb, cursor);
}

int articledb_db_get_txts(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->txtdb, cursor);
}

int articledb_db_get_dates(ArticledbDb* db, ArticledbCursor** cursor) {
  return articledb_get_cursor(db->datedb, cursor);
}

// ---- reads ----

int articledb_cursor_next_key(ArticledbCursor* cursor, ArticledbBuffer* key) {
  DBT key_item = buffer_item(key);
  DBT data_item = ignored_item();
  const int ret = read(cursor, &key_item, &data_item, take_operation(cursor, DB_NEXT_NODUP));
  key->length = key_item.size;
  return ret;
}

int articledb_cursor_next_data(ArticledbCursor* cursor, ArticledbBuffer* data) {
  DBT key_item = ignored_item();
  DBT data_item = buffer_item(data);
  take_operation(cursor, DB_NEXT);
  const int ret = read(cursor, &key_item, &data_item, DB_NEXT);
  data->length = data_item.size;
  return ret;
}

int articledb_cursor_next_data_dup(ArticledbCursor* cursor, ArticledbBuffer* data) {
  const guint32 operation = take_operation(cursor, DB_NEXT_DUP);
  // A looked-up key is only searched by, and never written to.
  DBT looked_up = searches(operation) ? cursor->key : ignored_item();
  looked_up.flags &= ~DB_DBT_USERMEM;
  DBT* key_item = (cursor->key.flags & DB_DBT_USERMEM) != 0 ? &looked_up : &cursor->key;
  DBT data_item = buffer_item(data);
  const int ret = read(cursor, key_item, &data_item, operation);
  data->length = data_item.size;
  return ret;
}

int articledb_cursor_next_key_and_data(ArticledbCursor* cursor, ArticledbBuffer* key,
                                       ArticledbBuffer* data) {
  const guint32 operation = take_operation(cursor, DB_NEXT);
  DBT key_item = buffer_item(key);
  key_item.size = key->length;
  DBT data_item = buffer_item(data);
  const DBT search_key = key_item;
  if (searches(operation) && search_key.size > search_key.ulen) {
    return EINVAL;
  }
  const int ret = read(cursor, &key_item, &data_item, operation);
  if (ret == DB_BUFFER_SMALL && searches(operation)) {
    stand_on_searched_record(cursor, search_key, operation);
  }
  key->length = key_item.size;
  data->length = data_item.size;
  return ret;
}

// ---- closing and duplicating ----

int articledb_cursor_close(ArticledbCursor* cursor) {
  const int ret = cursor->dbc->close(cursor->dbc);
  release_record(cursor);
  return ret;
}

int articledb_cursor_dup(ArticledbCursor* cursor, ArticledbCursor** out) {
  return duplicate_cursor(cursor, out, cursor->key.data, cursor->key.size);
}

int articledb_cursor_dup_with_key_data(ArticledbCursor* cursor, ArticledbCursor** out,
                                       const char* key, guint32 length) {
  return duplicate_cursor(cursor, out, key, length);
}

// ---- key lookups ----

int articledb_db_lookup_form(ArticledbDb* db, ArticledbCursor** cursor, const char* form,
                             guint32 length) {
  return articledb_db_lookup_buffer_in_db(db->formdb, cursor, form, length);
}

int articledb_db_lookup_lemma(ArticledbDb* db, ArticledbCursor** cursor, const char* lemma,
                              guint32 length) {
  return articledb_db_lookup_buffer_in_db(db->lemmadb, cursor, lemma, length);
}

int articledb_db_lookup_source(ArticledbDb* db, ArticledbCursor** cursor, const char* source,
                               guint32 length) {
  return articledb_db_lookup_buffer_in_db(db->sourcedb, cursor, source, length);
}

int articledb_db_lookup_date(ArticledbDb* db, ArticledbCursor** cursor, guint32 date) {
  return articledb_db_lookup_buffer_in_db(db->datedb, cursor, &date, sizeof date);
}

int articledb_db_lookup_trigram(ArticledbDb* db, ArticledbCursor** cursor, const char* trigram,
                                guint32 length) {
  *cursor = nullptr;
  char key_bytes[TRIGRAM_BUILDER_TRIGRAM_SIZE];
  if (length > sizeof key_bytes) {
    return EINVAL;
  }
  const int ret = articledb_db_lookup_buffer_in_db_with_flags(db->trigramdb, cursor, trigram,
                                                              length, DB_SET_RANGE);
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
      (*cursor)->ended = FALSE;
      return 0;
    default:
      articledb_cursor_close(*cursor);
      *cursor = nullptr;
      return found;
  }
}

// ---- id resolution ----

int articledb_db_lookup_id_to_url(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  return article_db_lookup_id_to_buffer(db->urldb, id, buffer, size);
}

int articledb_db_lookup_id_to_txt(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  return article_db_lookup_id_to_buffer(db->txtdb, id, buffer, size);
}
