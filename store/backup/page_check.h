// Berkeley DB's own verification of the pages of a store that nobody uses.
#ifndef FENRA_STORE_BACKUP_PAGE_CHECK_H
#define FENRA_STORE_BACKUP_PAGE_CHECK_H

#include <functional>
#include <string>

#include "store/bulk/work_meter.h"

namespace ostren::fenra::store {

// Checks the structure of the database file's pages, and the order and the hashing of the items
// of each database. Calls `finding` for every fault with a line for people. Throws Failed and
// std::bad_alloc.
void check_pages(const std::string& directory,
                 const std::function<void(const std::string&)>& finding, WorkMeter* meter);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BACKUP_PAGE_CHECK_H
