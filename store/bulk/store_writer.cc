#include "store/bulk/store_writer.h"

#include <algorithm>

#include "base/failed.h"
#include "store/layout/database.h"

namespace ostren::fenra::store {
namespace {

// On disk, hash pages: an item has a type byte and an index of 2 bytes, a duplicate its
// length twice; an item or a set of duplicates that is longer than a quarter of a page
// lies on pages of its own, and takes 12 bytes.
constexpr size_t PAGE_HEADER_BYTES = 26;
constexpr size_t ITEM_BYTES = 3;
constexpr size_t DUPLICATE_BYTES = 4;
constexpr size_t ELSEWHERE_BYTES = 14;
constexpr size_t LONG_BYTES = PAGE_BYTES / 4;

guint64 item_bytes(guint64 bytes) {
  return bytes > LONG_BYTES ? ELSEWHERE_BYTES : bytes + ITEM_BYTES;
}

// How full the pages of the buckets shall be, had they to hold everything. Above 1 the
// database splits buckets while it is written, as it does when it grows: measured to give
// the smallest files, and not to cost time.
constexpr double FILL = 1.3;

// More than a page has room for, so that a bucket is only split when its page is full.
constexpr guint32 FILL_FACTOR = 1024;
constexpr guint64 MOST_BUCKETS = guint64{1} << 21;  // as many as the factor times it is 2^31

// The number of buckets for so many bytes; Berkeley DB takes a power of two.
guint64 bucket_count(const BucketBytes& bytes) {
  constexpr double ROOM = (PAGE_BYTES - PAGE_HEADER_BYTES) * FILL;
  guint64 count = 2;
  while (count < MOST_BUCKETS &&
         static_cast<double>(count) * ROOM < static_cast<double>(bytes.total())) {
    count *= 2;
  }
  return count;
}

// So many pairs that what a call costs by itself does not count.
constexpr guint32 BATCH_BYTES = 32 << 10;

const DatabaseSpec& spec_of(DB* ArticledbDb::*field) {
  return *std::find_if(std::begin(DATABASES), std::end(DATABASES),
                       [field](const DatabaseSpec& spec) { return spec.field == field; });
}

}  // namespace

void BucketBytes::add(std::string_view key, guint64 items, guint64 data_bytes) {
  if (key != key_) {
    total_ += bytes_of_key();
    key_ = key;
    items_ = data_bytes_ = 0;
  }
  items_ += items;
  data_bytes_ += data_bytes;
}

guint64 BucketBytes::bytes_of_key() const {
  switch (items_) {
    case 0:
      return 0;
    case 1:
      return item_bytes(key_.size()) + item_bytes(data_bytes_);
    default:
      return item_bytes(key_.size()) + item_bytes(data_bytes_ + items_ * DUPLICATE_BYTES);
  }
}

size_t cache_bytes(size_t memory) {
  constexpr size_t LEAST = size_t{1} << 20;
  // What is written is not come back to: a cache that fits that of the processor was
  // measured to be the fastest.
  constexpr size_t MOST = size_t{4} << 20;
  return std::min(std::max(memory / 2, LEAST), MOST);
}

StoreWriter::StoreWriter(const std::string& directory, size_t cache_bytes)
    : batch_bytes_(BATCH_BYTES / sizeof(guint32)) {
  batch_.data = batch_bytes_.data();
  batch_.ulen = BATCH_BYTES;
  require(db_env_create(&env_, 0));
  // The code says what has failed.
  env_->set_errcall(env_, drop_message);
  int ret = env_->set_cachesize(env_, static_cast<guint32>(cache_bytes >> 30),
                                static_cast<guint32>(cache_bytes & ((1U << 30) - 1)), 1);
  if (ret == 0) {
    ret = env_->open(env_, directory.c_str(), DB_CREATE | DB_PRIVATE | DB_INIT_MPOOL, 0);
  }
  if (ret != 0) {
    env_->close(env_, 0);
    throw Failed{ret};
  }
}

StoreWriter::~StoreWriter() {
  if (database_ != nullptr) {
    database_->close(database_, DB_NOSYNC);
  }
  if (env_ != nullptr) {
    env_->close(env_, 0);
  }
}

void StoreWriter::begin(DB* ArticledbDb::*field, const BucketBytes& bytes) {
  end_database();
  const DatabaseSpec& spec = spec_of(field);
  int step = 0;
  require(db_create(&database_, env_, 0));
  require(schema_configure(database_, spec, &step));
  if (spec.type == DB_HASH) {
    require(database_->set_h_ffactor(database_, FILL_FACTOR));
    require(
        database_->set_h_nelem(database_, static_cast<guint32>(bucket_count(bytes) * FILL_FACTOR)));
  }
  require(database_->open(database_, nullptr, DATABASE_FILE, spec.name, spec.type,
                          DB_CREATE | DB_EXCL, 0));
}

void StoreWriter::put(std::string_view key, std::string_view data) {
  if (batch(key, data)) {
    return;
  }
  put_batch();
  if (!batch(key, data)) {
    DBT long_key = input_item(key);
    DBT long_data = input_item(data);
    require(database_->put(database_, nullptr, &long_key, &long_data, 0));
  }
}

bool StoreWriter::batch(std::string_view key, std::string_view data) {
  if (batch_next_ == nullptr) {
    DB_MULTIPLE_WRITE_INIT(batch_next_, &batch_);
  }
  void* next = batch_next_;
  DB_MULTIPLE_KEY_WRITE_NEXT(next, &batch_, key.data(), key.size(), data.data(), data.size());
  if (next == nullptr) {
    return false;
  }
  batch_next_ = next;
  return true;
}

void StoreWriter::put_batch() {
  if (batch_next_ != nullptr) {
    batch_next_ = nullptr;
    require(database_->put(database_, nullptr, &batch_, nullptr, DB_MULTIPLE_KEY));
  }
}

// What it has written stays in the environment's cache.
void StoreWriter::end_database() {
  if (database_ != nullptr) {
    put_batch();
    DB* const database = database_;
    database_ = nullptr;
    require(database->close(database, DB_NOSYNC));
  }
}

void StoreWriter::finish() {
  put_batch();
  // A file of which no handle is left takes its unwritten pages with it.
  require(env_->memp_sync(env_, nullptr));
  end_database();
  DB_ENV* const env = env_;
  env_ = nullptr;
  require(env->close(env, 0));
}

}  // namespace ostren::fenra::store
