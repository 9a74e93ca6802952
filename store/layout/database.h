// What the store's modules share: Berkeley DB items, transactions and the id counter's key.
#ifndef FENRA_STORE_LAYOUT_DATABASE_H
#define FENRA_STORE_LAYOUT_DATABASE_H

#include <glib.h>

#include <string_view>

#include "store/articledb.h"

namespace ostren::fenra::store {

// The module name that the store's messages carry.
constexpr char MODULE[] = "articledb";

// On disk: the keys of the records of "iddb": of the id counter, and of the name of the rules of
// words, which a store of plain words does not have.
constexpr char ID_COUNTER_KEY[4] = {0, 0, 0, 0};
constexpr char RULES_KEY[4] = {1, 0, 0, 0};

// An item that passes `size` bytes to Berkeley DB, which only reads them.
inline DBT input_item(const void* data, guint32 size) {
  DBT item{};
  item.data = const_cast<void*>(data);
  item.size = size;
  return item;
}

inline DBT input_item(std::string_view bytes) {
  return input_item(bytes.data(), static_cast<guint32>(bytes.size()));
}

// An item that receives at most `capacity` bytes in the caller's storage.
inline DBT output_item(void* data, guint32 capacity) {
  DBT item{};
  item.data = data;
  item.ulen = capacity;
  item.flags = DB_DBT_USERMEM;
  return item;
}

// An item that receives nothing: a read of zero bytes.
inline DBT ignored_item() {
  DBT item{};
  item.flags = DB_DBT_PARTIAL;
  return item;
}

inline std::string_view id_bytes(const guint64& id) {
  return {reinterpret_cast<const char*>(&id), sizeof id};
}

inline DBT id_item(const guint64* id) { return input_item(id, sizeof *id); }

// One read through a cursor, which is closed again.
inline int get_with_cursor(DB* database, DBT* key, DBT* data, guint32 flags) {
  DBC* dbc = nullptr;
  int ret = database->cursor(database, nullptr, &dbc, 0);
  if (ret == 0) {
    ret = dbc->get(dbc, key, data, flags);
    const int closed = dbc->close(dbc);
    ret = ret != 0 ? ret : closed;
  }
  return ret;
}

// Stores a pair whose data item is not an id; DB_KEYEXIST when it is there.
// Asking first is not an optimisation: in a hash database with sorted duplicates
// a put of an existing pair with a short data item may reorganise its page before
// it notices, and what the abort of the put leaves behind is a corrupt page.
inline int put_new_pair(DB* database, DB_TXN* txn, DBT key, DBT data) {
  DBT wanted = data;
  const int ret = database->get(database, txn, &key, &wanted, DB_GET_BOTH);
  if (ret != DB_NOTFOUND) {
    return ret == 0 ? DB_KEYEXIST : ret;
  }
  return database->put(database, txn, &key, &data, DB_NODUPDATA);
}

// Runs `write(txn)`, which returns a code, in a transaction: as a whole or not at all. Returns
// its code or that of the transaction; DB_RUNRECOVERY when the undoing has failed so.
template <typename Write>
int in_transaction(DB_ENV* env, Write write) {
  DB_TXN* txn = nullptr;
  int ret = env->txn_begin(env, nullptr, &txn, 0);
  if (ret != 0) {
    return ret;
  }
  ret = write(txn);
  if (ret == 0) {
    return txn->commit(txn, 0);
  }
  const int undone = txn->abort(txn);
  return undone == DB_RUNRECOVERY ? undone : ret;
}

// The home of an environment that is to read no DB_CONFIG: Berkeley DB looks for one there, and
// without a home where the process is. A private environment makes no files in it.
constexpr char NO_HOME[] = "/";

// For an environment whose codes say enough.
inline void drop_message(const DB_ENV*, const char*, const char*) {}

// Reports a code through a database's error method, with no text of its own. A
// handle that could not be opened again, after a recovery that failed, is null and
// reports nothing: the recovery has. So does a store that somebody has changed, whose gate has told
// of it; its status is no code that the error method knows.
inline void report(DB* database, int code) {
  if (database != nullptr && code != STATUS_STORE_CHANGED) {
    database->err(database, code, nullptr);
  }
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_DATABASE_H
