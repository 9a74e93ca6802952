// Opening stores.
#ifndef FENRA_ARTICLES_OPENING_H
#define FENRA_ARTICLES_OPENING_H

#include <string>

#include "articles/handles.h"

namespace ostren::fenra::articles {

// All of them throw Failure, but for has_database.

// Whether there is a store in the directory `path`, or the beginning of one.
bool has_database(const std::string& path);

// As a user of the journal.
Store open_existing(const std::string& path);

// With all that waits written to the databases first, for those who look into them.
Store open_databases(const std::string& path);

Store open_read_only(const std::string& path);

// Opens the store in `path`, or makes one with the rules of words of that name when `path` does
// not exist or is an empty directory, which is replaced by a new one. As a user of the journal.
Store open_or_make(const std::string& path, const std::string& rules);

void close_store(Store store);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_OPENING_H
