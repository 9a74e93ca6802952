// Writing a store anew.
#ifndef FENRA_STORE_STORE_COMPACTION_H
#define FENRA_STORE_STORE_COMPACTION_H

#include <string>

#include "store/work_meter.h"

namespace ostren {
namespace fenra {
namespace store {

// articledb_bulk_compact for the store in an absolute path. Throws Failed and
// std::bad_alloc.
void compact_store(const std::string& path, size_t cache_bytes, WorkMeter* meter);

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_STORE_COMPACTION_H
