// A backup of a store, from end to end.
#ifndef FENRA_STORE_BACKUP_STORE_BACKUP_H
#define FENRA_STORE_BACKUP_STORE_BACKUP_H

#include <string>

#include "store/articledb_bulk.h"

namespace ostren::fenra::store {

// articledb_backup. Throws Complaint, Failed and std::bad_alloc.
void make_backup(const std::string& store, const std::string& path,
                 ArticledbBulkProgressFunc progress, void* state);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BACKUP_STORE_BACKUP_H
