// What a store handle keeps of what it has read.
#ifndef FENRA_STORE_READING_READ_MEMORY_H
#define FENRA_STORE_READING_READ_MEMORY_H

#include "base/handles.h"
#include "store/memory.h"
#include "store/reading/read_cache.h"

namespace ostren::fenra::store {

class ReadMemory {
 public:
  ReadCache cache;

  // Gives the cache a quarter of what the environment's has, or the least. Berkeley DB's code.
  int set_room(DB_ENV* env);

  // Memory for use under the gate: at least `size` bytes, aligned for any type; null when
  // memory is short. The next call ends it.
  void* scratch(guint32 size) {
    if (scratch_size_ < size) {
      scratch_.reset(g_try_malloc(size));
      scratch_size_ = scratch_ == nullptr ? 0 : size;
    }
    return scratch_.get();
  }

 private:
  GMemory<void> scratch_;
  guint32 scratch_size_ = 0;
};

// Null before the store is opened.
inline ReadCache* read_cache_of(ArticledbDb* db) {
  return db->memory == nullptr ? nullptr : &db->memory->reading->cache;
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_READ_MEMORY_H
