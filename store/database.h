// What the store's modules share: Berkeley DB items, the id counter's key and
// the treatment of deadlocks.
#ifndef FENRA_STORE_DATABASE_H
#define FENRA_STORE_DATABASE_H

#include <glib.h>

#include "store/articledb.h"

namespace ostren {
namespace fenra {
namespace store {

// The module name that the store's messages carry.
constexpr char MODULE[] = "articledb";

// On disk: the key of the one record of "iddb".
constexpr char ID_COUNTER_KEY[4] = {0, 0, 0, 0};

// An item that passes `size` bytes to Berkeley DB, which only reads them.
inline DBT input_item(const void* data, guint32 size) {
  DBT item{};
  item.data = const_cast<void*>(data);
  item.size = size;
  return item;
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

inline DBT id_item(const guint64* id) { return input_item(id, sizeof *id); }

// Runs a Berkeley DB call, and runs it again while it is the victim that the
// deadlock detector chose among the processes that share the store. A call that
// keeps losing, which takes more than two seconds, gives DB_LOCK_DEADLOCK.
template <typename Call>
int retry_deadlock(Call call) {
  constexpr int ATTEMPTS = 64;
  constexpr gulong BACKOFF_MICROSECONDS = 1000;
  int ret = call();
  for (int attempt = 1; ret == DB_LOCK_DEADLOCK && attempt < ATTEMPTS; ++attempt) {
    g_usleep(attempt * BACKOFF_MICROSECONDS);
    ret = call();
  }
  return ret;
}

// A read, write or removal of one record outside any transaction of the caller's.
inline int get_record(DB* database, DB_TXN* txn, DBT key, DBT* data, guint32 flags) {
  return retry_deadlock([&] { return database->get(database, txn, &key, data, flags); });
}

inline int put_record(DB* database, DB_TXN* txn, DBT key, DBT data, guint32 flags) {
  return retry_deadlock([&] { return database->put(database, txn, &key, &data, flags); });
}

inline int delete_records(DB* database, DB_TXN* txn, DBT key) {
  return retry_deadlock([&] { return database->del(database, txn, &key, 0); });
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_DATABASE_H
