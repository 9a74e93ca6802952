// From the store to its contents: cursors over whole databases, lookups of keys, and the
// records of article ids.
#include <cerrno>
#include <cstring>

#include "base/failed.h"
#include "store/articledb.h"
#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"
#include "store/reading/cursor.h"
#include "store/reading/read_memory.h"
#include "store/waiting/waiting_view.h"
#include "store/writing/article_version.h"

using namespace ostren::fenra;
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

// Gives the record to `data`, if it fits.
int give(std::string_view record, DBT* data) {
  data->size = static_cast<guint32>(record.size());
  if (data->size > data->ulen) {
    return DB_BUFFER_SMALL;
  }
  record.copy(static_cast<char*>(data->data), record.size());
  return 0;
}

// Looks for a kept URL record, and gives it to `data`; *code is set when it is there.
bool recall_url(ArticledbDb* db, guint64 id, DBT* data, int* code) {
  const ReadCache* const reads = read_cache_of(db);
  std::string_view record;
  if (reads == nullptr || !reads->find_url(id, gate_changes(db), &record)) {
    return false;
  }
  *code = give(record, data);
  return true;
}

using WaitingRecord = std::string_view (WaitingView::*)(guint64 id) const;

// Where the records of an id are; like DECLINED no code of anybody else.
constexpr int IN_DATABASES = -1003;

// 0 and the record of an article that waits; DB_NOTFOUND when nobody shows it, or not any more;
// IN_DATABASES, if anywhere; or the code of what failed.
int find_waiting(const WaitingView* waiting, guint64 id, WaitingRecord record,
                 std::string_view* found) {
  int place = IN_DATABASES;
  const int ret = status_of([&] {
    if (waiting != nullptr && (id > waiting->base() || waiting->hides(id))) {
      *found = (waiting->*record)(id);
      place = found->empty() ? DB_NOTFOUND : 0;
    }
  });
  return ret != 0 ? ret : place;
}

int read_url_record(ArticledbDb* db, guint64 id, DBT* data) {
  return read_in_gate(db, [&] {
    const WaitingView* waiting = nullptr;
    std::string_view record;
    int code = gate_waiting(db, &waiting);
    code = code != 0 ? code : find_waiting(waiting, id, &WaitingView::url_record, &record);
    if (code != IN_DATABASES) {
      return code == 0 ? give(record, data) : code;
    }
    ReadCache* const reads = read_cache_of(db);
    reads->carry_urls_over(gate_changes(db), gate_replacements(db));
    if (recall_url(db, id, data, &code)) {
      return code;
    }
    DBT key = id_item(&id);
    code = db->urldb->get(db->urldb, nullptr, &key, data, 0);
    if (code == 0) {
      reads->keep_url(id, {static_cast<const char*>(data->data), data->size});
    }
    return code;
  });
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
  const int ret = read_in_gate(db, [&] {
    const WaitingView* waiting = nullptr;
    int code = gate_waiting(db, &waiting);
    guint64 shown = 0;
    if (code == 0 && waiting != nullptr) {
      code = status_of([&] { shown = waiting->find_url(StoredKey({url, length}).bytes()); });
    }
    if (code == 0 && shown == 0) {
      code = find_shown(db, {url, length}, &shown);
      code = code == 0 && waiting != nullptr && waiting->hides(shown) ? DB_NOTFOUND : code;
    }
    *id = code == 0 ? shown : *id;
    return code;
  });
  return ret == DB_NOTFOUND ? STATUS_NOT_FOUND : ret;
}

int articledb_db_lookup_id_to_url(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  DBT data = output_item(buffer, *size);
  const WaitingView* waiting = nullptr;
  std::string_view record;
  int code = gate_waiting(db, &waiting);
  if (code == 0 && find_waiting(waiting, id, &WaitingView::url_record, &record) == IN_DATABASES &&
      recall_url(db, id, &data, &code)) {
    return resolution(code, data.size, size);
  }
  code = code != 0 ? code : read_url_record(db, id, &data);
  return resolution(code, data.size, size);
}

int articledb_db_lookup_id_to_txt(ArticledbDb* db, guint64 id, void* buffer, guint32* size) {
  DBT data = output_item(buffer, *size);
  const int ret = read_in_gate(db, [&] {
    const WaitingView* waiting = nullptr;
    std::string_view record;
    int code = gate_waiting(db, &waiting);
    code = code != 0 ? code : find_waiting(waiting, id, &WaitingView::text_record, &record);
    if (code == 0) {
      return give(record, &data);
    }
    DBT key = id_item(&id);
    return code == IN_DATABASES ? db->txtdb->get(db->txtdb, nullptr, &key, &data, 0) : code;
  });
  return resolution(ret, data.size, size);
}
