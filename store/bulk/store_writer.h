// Writes the database file of a new store, one database after the other, in an order of
// the keys that keeps neighbours together.
//
// Nothing is logged: the file is complete when finish() has returned, and worthless
// before. Its pages carry the log position of pages that no log knows, which is before
// all others, so that any environment, with whatever log, takes it up.
#ifndef FENRA_STORE_BULK_STORE_WRITER_H
#define FENRA_STORE_BULK_STORE_WRITER_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/articledb.h"
#include "store/layout/schema.h"

namespace ostren::fenra::store {

// How many bytes the items of a hash database take on the pages of its buckets. Overflow
// pages and duplicates on pages of their own are not counted.
class BucketBytes {
 public:
  // `items` more data items of the key, with so many bytes together. Those of one key
  // come one after the other.
  void add(std::string_view key, guint64 items, guint64 data_bytes);

  guint64 total() const { return total_ + bytes_of_key(); }

 private:
  guint64 bytes_of_key() const;

  guint64 total_ = 0;  // of the keys before
  std::string key_;
  guint64 items_ = 0;
  guint64 data_bytes_ = 0;
};

// The cache for a writer that is to take `memory` bytes.
size_t cache_bytes(size_t memory);

// All of it throws Failed.
class StoreWriter {
 public:
  // In an existing directory; takes about `cache_bytes` of memory.
  StoreWriter(const std::string& directory, size_t cache_bytes);

  // Leaves a worthless file when finish() has not been called.
  ~StoreWriter();
  StoreWriter(const StoreWriter&) = delete;
  StoreWriter& operator=(const StoreWriter&) = delete;

  // Begins a database that has not been begun yet, and ends the one before. A hash
  // database gets room for `bytes`.
  void begin(DB* ArticledbDb::*field, const BucketBytes& bytes = BucketBytes());

  // Puts a pair that is not in the database yet. Best in the order of the buckets, or of
  // the keys of a B-tree, and in the order of the items of one key.
  void put(std::string_view key, std::string_view data);

  // Brings everything to the disk.
  void finish();

  // For reading other files meanwhile.
  DB_ENV* environment() const { return env_; }

 private:
  // Takes a pair into the batch. False when there is no room for it.
  bool batch(std::string_view key, std::string_view data);
  void put_batch();
  void end_database();

  DB_ENV* env_ = nullptr;
  DB* database_ = nullptr;
  // Pairs that wait for one call, which sets up its cursor once for all of them.
  std::vector<guint32> batch_bytes_;
  DBT batch_ = {};
  void* batch_next_ = nullptr;  // null when it is empty
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_STORE_WRITER_H
