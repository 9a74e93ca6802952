// What a store handle keeps in memory for itself, mostly room by room; what it shares with others
// on the store is its gate.
#ifndef FENRA_STORE_MEMORY_H
#define FENRA_STORE_MEMORY_H

#include <memory>

#include "store/articledb.h"

namespace ostren::fenra::store {
class KnownPairs;
class ReadMemory;
}  // namespace ostren::fenra::store

// The parts are never null. Making it throws std::bad_alloc.
struct ArticledbMemory {
  ArticledbMemory();
  ~ArticledbMemory();

  std::unique_ptr<ostren::fenra::store::KnownPairs> known_pairs;  // of store/article
  std::unique_ptr<ostren::fenra::store::ReadMemory> reading;      // of store/reading
  bool uses_journal = false;                                      // articledb_db_use_journal
  // articledb_db_tell_writing
  ArticledbWritingProgressFunc writing_progress = nullptr;
  void* writing_state = nullptr;
};

#endif  // FENRA_STORE_MEMORY_H
