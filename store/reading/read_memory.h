// What a store handle keeps of what it has read.
#ifndef FENRA_STORE_READING_READ_MEMORY_H
#define FENRA_STORE_READING_READ_MEMORY_H

#include "base/handles.h"
#include "store/memory.h"
#include "store/reading/list_cache.h"
#include "store/reading/record_cache.h"

namespace ostren::fenra::store {

class ReadMemory {
 public:
  RecordCache url_records;
  ListCache lists;

  // Gives each cache an eighth of what the environment's has, or the least. Berkeley DB's code.
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
inline ListCache* lists_of(ArticledbDb* db) {
  return db->memory == nullptr ? nullptr : &db->memory->reading->lists;
}
inline RecordCache* url_records_of(ArticledbDb* db) {
  return db->memory == nullptr ? nullptr : &db->memory->reading->url_records;
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_READ_MEMORY_H
