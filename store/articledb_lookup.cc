// From the store to its contents: cursors over whole databases, lookups of keys, and the
// records of article ids.
#include <cerrno>
#include <cstring>

#include "store/articledb.h"
#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"
#include "store/reading/cursor.h"
#include "store/reading/read_memory.h"
#include "store/writing/article_version.h"

using namespace ostren::fenra::store;

namespace {

int articledb_get_cursor(ArticledbDb* db, DatabaseField database, ArticledbCursor** out) {
  Cursor* cursor = cursor_new(db, database, DB_FIRST);
  *out = cursor == nullptr ? nullptr : &cursor->head;
  return cursor == nullptr ? -1 : 0;
}

int articledb_db_lookup_buffer_in_db_with_flags(ArticledbDb* db, DatabaseField database,
                                                ArticledbCursor** out, const void* key,
                                                guint32 length, guint32 operation) {
  const int ret = articledb_get_cursor(db, database, out);
  if (ret != 0) {
    return ret;
  }
  (*out)->next_op = operation;
  if (!cursor_set_key(cursor_of(*out), key, length, DB_DBT_USERMEM)) {
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
    cursor_of(*out)->lists = true;
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

// Looks for a kept URL record, and gives it to `data` as far as it fits.
bool recall_url(ArticledbDb* db, guint64 id, DBT* data) {
  const ReadCache* const reads = read_cache_of(db);
  std::string_view record;
  if (reads == nullptr || !reads->find_url(id, gate_changes(db), &record)) {
    return false;
  }
  data->size = static_cast<guint32>(record.size());
  if (data->size <= data->ulen) {
    record.copy(static_cast<char*>(data->data), record.size());
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
      cursor_of(*cursor)->ended = false;
      return 0;
    default:
      articledb_cursor_close(*cursor);
      *cursor = nullptr;
      return found;
  }
}

// ---- id resolution ----

int articledb_db_lookup_url(ArticledbDb* db, const char* url, guint32 length, guint64* id) {
  const int ret = read_in_gate(db, [&] { return find_shown(db, {url, length}, id); });
  return ret == DB_NOTFOUND ? STATUS_NOT_FOUND : ret;
}

int articledb_db_lookup_id_to_url(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  DBT data = output_item(buffer, *size);
  const auto code_of_recalled = [&data] { return data.size > data.ulen ? DB_BUFFER_SMALL : 0; };
  if (recall_url(db, id, &data)) {
    return resolution(code_of_recalled(), data.size, size);
  }
  const int ret = read_in_gate(db, [&] {
    ReadCache* const reads = read_cache_of(db);
    reads->carry_urls_over(gate_changes(db), gate_replacements(db));
    if (recall_url(db, id, &data)) {
      return code_of_recalled();
    }
    DBT key = id_item(&id);
    const int code = db->urldb->get(db->urldb, nullptr, &key, &data, 0);
    if (code == 0) {
      reads->keep_url(id, {static_cast<const char*>(buffer), data.size});
    }
    return code;
  });
  return resolution(ret, data.size, size);
}

int articledb_db_lookup_id_to_txt(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  return article_db_lookup_id_to_buffer(db, &ArticledbDb::txtdb, id, buffer, size);
}
