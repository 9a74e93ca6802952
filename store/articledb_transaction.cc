// Transaction records, the id counter and the writers of single records.
#include "store/articledb.h"

#include <climits>
#include <cstring>

#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"

using namespace ostren::fenra::store;

namespace {

int store_new_pair(ArticledbDb* db, DatabaseField database, DBT key, DBT data) {
  return run_in_gate(db, [&] { return put_new_pair(db->*database, nullptr, key, data); });
}

// The end of a writer of a string key: an existing pair is as good as a new one,
// any other failure is reported.
int string_key_written(DB* handle, const DBT& key, int code) {
  if (code == 0 || code == DB_KEYEXIST) {
    return 0;
  }
  if (handle != nullptr && code != WRITES_LOST) {
    handle->err(handle, code, "Errorea articledb_transaction_put_with_string_guint64: %.*s",
                static_cast<int>(MIN(key.size, static_cast<guint32>(INT_MAX))),
                key.data == nullptr ? "" : static_cast<const char*>(key.data));
  }
  return code;
}

int articledb_transaction_put_with_string_guint64(ArticledbTransaction* t, DatabaseField database,
                                                  const DBT& key, guint64 id) {
  const int ret = put_record(t->store, database, key, id_item(&id), DB_NODUPDATA);
  return string_key_written(t->store->*database, key, ret);
}

int articledb_transaction_put_with_string_string(ArticledbTransaction* t, DatabaseField database,
                                                 const char* string, guint32 length,
                                                 const char* value, guint32 value_length) {
  const StoredKey stored_string({string, length});
  const StoredKey stored_value({value, value_length});
  const DBT key = input_item(stored_string.bytes());
  const int ret = store_new_pair(t->store, database, key, input_item(stored_value.bytes()));
  return string_key_written(t->store->*database, key, ret);
}

int put_in_hash_database(ArticledbTransaction* t, DatabaseField database, const char* string,
                         guint32 length, guint64 id) {
  const StoredKey stored({string, length});
  return articledb_transaction_put_with_string_guint64(t, database, input_item(stored.bytes()), id);
}

// Raises the counter in a Berkeley DB transaction of its own, since a read for
// update is refused outside of one. Returns 0 or the code of the failed call, which
// *read_status repeats when the counter could not be read.
int draw_id(ArticledbDb* db, guint64* id, int* read_status) {
  DB* iddb = db->iddb;
  DB_TXN* txn = nullptr;
  *read_status = db->env->txn_begin(db->env, nullptr, &txn, 0);
  if (*read_status != 0) {
    return *read_status;
  }
  DBT key = input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);
  guint64 counter = 0;
  DBT data = output_item(&counter, sizeof counter);
  int ret = *read_status = iddb->get(iddb, txn, &key, &data, DB_RMW);
  if (ret == 0) {
    ++counter;
    data = id_item(&counter);
    ret = iddb->put(iddb, txn, &key, &data, 0);
  }
  if (ret != 0) {
    txn->abort(txn);
    return ret;
  }
  ret = txn->commit(txn, 0);
  if (ret == 0) {
    *id = counter;
  }
  return ret;
}

// ---- packing of the URL record ----

struct MetadataPair {
  const char* key;
  const char* value;
};

void pack_url_with_metadata(const MetadataPair& pair, GString* text) {
  g_string_append_printf(text, "%s=\"%s\";", pair.key, pair.value);
}

}  // namespace

// ---- life of a record ----

ArticledbTransaction* articledb_transaction_new(void) {
  return g_try_new0(ArticledbTransaction, 1);
}

int articledb_transaction_begin(ArticledbTransaction* t, ArticledbDb* db) {
  t->store = db;
  t->txn = nullptr;
  return 0;
}

int articledb_transaction_commit(ArticledbTransaction* t) {
  g_free(t);
  return 0;
}

int articledb_transaction_abort(ArticledbTransaction* t) {
  g_free(t);
  return 0;
}

// ---- ids ----

int articledb_transaction_next_id(ArticledbTransaction* t, guint64* id) {
  int read_status = 0;
  const int ret = run_in_gate(t->store, [&] { return draw_id(t->store, id, &read_status); });
  if (read_status != 0) {
    report(t->store->iddb, read_status);
  }
  return ret;
}

int articledb_transaction_get_id_from_url(ArticledbTransaction* t, const char* url, guint32 length,
                                          guint64* id) {
  // The copy ends in zero bytes where `length` exceeds the URL.
  char* copy = g_strndup(url == nullptr ? "" : url, length);
  const StoredKey stored({copy, length});
  guint64 first = 0;
  DBT data = output_item(&first, sizeof first);
  const int ret = get_record(t->store, &ArticledbDb::urlidx, input_item(stored.bytes()), &data, 0);
  g_free(copy);
  if (ret == 0) {
    *id = first;
  }
  return ret == DB_NOTFOUND ? STATUS_NOT_FOUND : ret;
}

// ---- writers ----

int articledb_transaction_put_url(ArticledbTransaction* t, const char* url_record, guint32 length,
                                  guint64 id) {
  return put_record(t->store, &ArticledbDb::urldb, id_item(&id), input_item(url_record, length), 0);
}

int articledb_transaction_put_urlidx(ArticledbTransaction* t, guint64 id, const char* url,
                                     guint32 length) {
  return put_in_hash_database(t, &ArticledbDb::urlidx, url, length, id);
}

int articledb_transaction_put_form(ArticledbTransaction* t, const char* form, guint32 length,
                                   guint64 id) {
  return put_in_hash_database(t, &ArticledbDb::formdb, form, length, id);
}

int articledb_transaction_put_trigram(ArticledbTransaction* t, const char* trigram, guint32 length,
                                      guint64 id) {
  return articledb_transaction_put_with_string_guint64(t, &ArticledbDb::trigramdb,
                                                       input_item(trigram, length), id);
}

int articledb_transaction_put_source(ArticledbTransaction* t, const char* source, guint32 length,
                                     guint64 id) {
  return put_in_hash_database(t, &ArticledbDb::sourcedb, source, length, id);
}

int articledb_transaction_put_lemma(ArticledbTransaction* t, const char* lemma,
                                    guint32 lemma_length, const char* form, guint32 form_length) {
  return articledb_transaction_put_with_string_string(t, &ArticledbDb::lemmadb, lemma, lemma_length,
                                                      form, form_length);
}

int articledb_transaction_put_txt(ArticledbTransaction* t, guint64 id, const char* record,
                                  guint32 length) {
  return store_new_pair(t->store, &ArticledbDb::txtdb, id_item(&id), input_item(record, length));
}

int articledb_transaction_put_date(ArticledbTransaction* t, guint32 date, guint64 id) {
  const int ret = put_record(t->store, &ArticledbDb::datedb, input_item(&date, sizeof date),
                             id_item(&id), DB_NODUPDATA);
  return ret == DB_KEYEXIST ? 0 : ret;
}

int articledb_transaction_delete_id(ArticledbTransaction* t, const guint64* id) {
  const int ret = delete_records(t->store, &ArticledbDb::urldb, id_item(id));
  return ret != 0 ? ret : delete_records(t->store, &ArticledbDb::txtdb, id_item(id));
}

char* articledb_pack_url_with_metadata(const char* url, GHashTable* metadata) {
  GArray* pairs = g_array_new(FALSE, FALSE, sizeof(MetadataPair));
  GHashTableIter entries;
  gpointer key;
  gpointer value;
  g_hash_table_iter_init(&entries, metadata);
  while (g_hash_table_iter_next(&entries, &key, &value)) {
    const MetadataPair pair = {static_cast<const char*>(key),
                               value == nullptr ? "" : static_cast<const char*>(value)};
    if (pair.key[0] != '_') {
      g_array_append_val(pairs, pair);
    }
  }
  GString* record = g_string_new(url);
  if (pairs->len != 0) {
    g_string_append_c(record, '|');
  }
  for (guint i = pairs->len; i > 0; --i) {
    pack_url_with_metadata(g_array_index(pairs, MetadataPair, i - 1), record);
  }
  g_array_free(pairs, TRUE);
  return g_string_free(record, FALSE);
}
