// Writing a store anew.
#ifndef FENRA_STORE_BULK_STORE_COMPACTION_H
#define FENRA_STORE_BULK_STORE_COMPACTION_H

#include <string>

#include "store/bulk/work_meter.h"

namespace ostren::fenra::store {

// articledb_bulk_compact for the store in an absolute path. Throws Failed and
// std::bad_alloc.
void compact_store(const std::string& path, size_t cache_bytes, WorkMeter* meter);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_STORE_COMPACTION_H
