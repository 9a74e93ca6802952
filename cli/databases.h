// The nine databases of a store, as the program shows and checks them.
#ifndef FENRA_CLI_DATABASES_H
#define FENRA_CLI_DATABASES_H

#include <fenra/articledb.h>

#include <cstdlib>
#include <memory>

#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"
#include "store/layout/schema.h"

namespace cli {

using ostren::fenra::store::CLOSING_ORDER;
using ostren::fenra::store::DatabaseSpec;
using ostren::fenra::store::Duplicates;

// Walks a whole database. Returns what `take` makes of its DB_HASH_STAT or DB_BTREE_STAT;
// throws Failure.
template <typename Take>
auto measure(DB* database, Take take) {
  DBTYPE type = DB_UNKNOWN;
  database->get_type(database, &type);
  void* record = nullptr;
  const int status = database->stat(database, nullptr, &record, 0);
  const std::unique_ptr<void, Releaser<std::free>> owner(record);
  if (status != 0) {
    throw Failure("cannot measure the store: " + status_text(status));
  }
  return type == DB_BTREE ? take(*static_cast<const DB_BTREE_STAT*>(record))
                          : take(*static_cast<const DB_HASH_STAT*>(record));
}

}  // namespace cli

#endif  // FENRA_CLI_DATABASES_H
