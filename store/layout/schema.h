// The nine databases of a store: how each is kept. docs/store-format.md has their
// contents.
#ifndef FENRA_STORE_LAYOUT_SCHEMA_H
#define FENRA_STORE_LAYOUT_SCHEMA_H

#include <glib.h>

#include "store/articledb.h"
#include "store/layout/store_files.h"

namespace ostren::fenra::store {

// On disk. The library's default follows the file system's block; with small
// pages the environment runs out of mutexes.
constexpr guint32 PAGE_BYTES = 4096;

// How the data items under one key are kept.
enum class Duplicates { NONE, BYTEWISE, NUMERIC };

struct DatabaseSpec {
  DB* ArticledbDb::*field;
  const char* name;  // on disk
  DBTYPE type;
  Duplicates duplicates;
  // Number in messages of the first step, the making of the handle. The steps that
  // the database needs after it count on from there: page size, duplicates,
  // comparison, opening.
  int step;
};

// In the order of making them.
inline constexpr DatabaseSpec DATABASES[] = {
    {&ArticledbDb::urldb, "urldb", DB_HASH, Duplicates::NONE, 101},
    {&ArticledbDb::urlidx, "urlidx", DB_HASH, Duplicates::BYTEWISE, 106},
    {&ArticledbDb::datedb, "datedb", DB_HASH, Duplicates::NUMERIC, 113},
    {&ArticledbDb::sourcedb, "sourcedb", DB_HASH, Duplicates::NUMERIC, 120},
    {&ArticledbDb::txtdb, "txtdb", DB_HASH, Duplicates::BYTEWISE, 127},
    {&ArticledbDb::lemmadb, "lemmadb", DB_HASH, Duplicates::BYTEWISE, 133},
    {&ArticledbDb::formdb, "formdb", DB_HASH, Duplicates::NUMERIC, 139},
    {&ArticledbDb::trigramdb, "trigramdb", DB_BTREE, Duplicates::NUMERIC, 146},
    {&ArticledbDb::iddb, "iddb", DB_HASH, Duplicates::NONE, 153},
};

// In the order of closing them, in which they are shown too.
inline constexpr const DatabaseSpec* CLOSING_ORDER[] = {
    &DATABASES[0], &DATABASES[1], &DATABASES[2], &DATABASES[3], &DATABASES[4],
    &DATABASES[6], &DATABASES[7], &DATABASES[5], &DATABASES[8]};

// Configures a database's handle, before it is opened. Returns 0 or Berkeley DB's code.
// *step goes up with every step that is tried.
int schema_configure(DB* handle, const DatabaseSpec& spec, int* step);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_SCHEMA_H
