#include "store/bulk/store_compaction.h"

#include <sys/stat.h>

#include <bitset>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/failed.h"
#include "store/articledb.h"
#include "store/bulk/build_directory.h"
#include "store/bulk/store_writer.h"
#include "store/layout/db_config.h"
#include "store/layout/schema.h"
#include "store/process/directory_lock.h"
#include "store/process/gate_file.h"
#include "store/process/ownership.h"

namespace ostren::fenra::store {
namespace {

struct HandleReleaser {
  void operator()(DB* database) const { database->close(database, 0); }
  void operator()(DBC* cursor) const { cursor->close(cursor); }
  void operator()(ArticledbDirectoryLock* lock) const { directory_lock_release(lock); }
};
template <typename Handle>
using Owner = std::unique_ptr<Handle, HandleReleaser>;

// ---- the old store to oneself ----

// Recovers the store if it has to be, so that all that its log tells is in its database
// file.
void put_in_order(const std::string& path) {
  ArticledbDb* db = articledb_db_new();
  if (db == nullptr) {
    throw std::bad_alloc();
  }
  const int opened = articledb_db_open(db, path.c_str());
  const int closed = articledb_db_close(db);
  require(opened);
  require(closed);
}

// Keeps everybody else out of a store that has been closed in order.
class SoleUse {
 public:
  explicit SoleUse(const std::string& path) {
    bool alone = false;
    ArticledbDirectoryLock* lock = nullptr;
    require(directory_lock_enter(path.c_str(), &lock, &alone));
    lock_.reset(lock);
    require(alone ? 0 : EBUSY);
    require(ownership_check(path.c_str(), nullptr));
    require(GateFile::open(path.c_str(), true, db_config_fingerprint(path.c_str()), &gate_));
    // Otherwise somebody has used it, and vanished, since it was put in order.
    require(gate_->was_clean() ? 0 : EBUSY);
  }
  // Nothing has been changed.
  ~SoleUse() {
    if (gate_ != nullptr && gate_->was_clean()) {
      gate_->set_clean();
    }
  }
  SoleUse(const SoleUse&) = delete;
  SoleUse& operator=(const SoleUse&) = delete;

 private:
  Owner<ArticledbDirectoryLock> lock_;
  std::unique_ptr<GateFile> gate_;
};

// ---- copying ----

// A database of the old store, read in the order in which it has its pairs.
class Source {
 public:
  Source(DB_ENV* env, const std::string& file, const DatabaseSpec& spec) : buffer_(1 << 20) {
    DB* database = nullptr;
    require(db_create(&database, env, 0));
    database_.reset(database);
    int step = 0;
    require(schema_configure(database, spec, &step));
    require(database->open(database, nullptr, file.c_str(), spec.name, spec.type, DB_RDONLY, 0));
  }

  // Calls `visit(key, data)` for every pair.
  template <typename Visit>
  void for_each(Visit visit) {
    DBC* opened = nullptr;
    require(database_->cursor(database_.get(), nullptr, &opened, 0));
    const Owner<DBC> cursor(opened);
    DBT block = {};
    while (read_block(opened, &block)) {
      void* position = nullptr;
      void* key = nullptr;
      void* data = nullptr;
      size_t key_size = 0;
      size_t data_size = 0;
      DB_MULTIPLE_INIT(position, &block);
      for (;;) {
        DB_MULTIPLE_KEY_NEXT(position, &block, key, key_size, data, data_size);
        if (position == nullptr) {
          break;
        }
        visit(std::string_view(static_cast<char*>(key), key_size),
              std::string_view(static_cast<char*>(data), data_size));
      }
    }
  }

 private:
  // False at the end.
  bool read_block(DBC* cursor, DBT* block) {
    DBT key = {};
    int ret;
    do {
      block->data = buffer_.data();
      block->ulen = static_cast<guint32>(buffer_.size());
      block->flags = DB_DBT_USERMEM;
      ret = cursor->get(cursor, &key, block, DB_NEXT | DB_MULTIPLE_KEY);
      if (ret == DB_BUFFER_SMALL) {
        buffer_.resize((size_t{block->size} / 1024 + 2) * 1024);
      }
    } while (ret == DB_BUFFER_SMALL);
    require(ret == DB_NOTFOUND ? 0 : ret);
    return ret == 0;
  }

  Owner<DB> database_;
  std::vector<char> buffer_;
};

// Which articles have a record.
class LiveIds {
 public:
  void add(std::string_view id_bytes) {
    if (id_bytes.size() == sizeof(guint64)) {
      const guint64 id = id_of(id_bytes);
      blocks_[id / Block().size()].set(id % Block().size());
    }
  }

  // What is not an id belongs to nobody, and stays.
  bool has(std::string_view id_bytes) {
    if (id_bytes.size() != sizeof(guint64)) {
      return true;
    }
    const guint64 id = id_of(id_bytes);
    const guint64 number = id / Block().size();
    // Most lists go through the ids of a block together.
    if (number != last_number_) {
      const auto found = blocks_.find(number);
      last_ = found == blocks_.end() ? nullptr : &found->second;
      last_number_ = number;
    }
    return last_ != nullptr && last_->test(id % Block().size());
  }

 private:
  using Block = std::bitset<4096>;

  static guint64 id_of(std::string_view bytes) {
    guint64 id;
    memcpy(&id, bytes.data(), sizeof id);
    return id;
  }

  // Damaged ids may lie anywhere.
  std::unordered_map<guint64, Block> blocks_;
  // Of the last question.
  guint64 last_number_ = G_MAXUINT64;
  const Block* last_ = nullptr;
};

LiveIds find_live_ids(const std::string& file, DB_ENV* env) {
  LiveIds live;
  for (const DatabaseSpec& spec : DATABASES) {
    if (spec.field == &ArticledbDb::urldb || spec.field == &ArticledbDb::txtdb) {
      Source(env, file, spec).for_each([&](std::string_view key, std::string_view) {
        live.add(key);
      });
    }
  }
  return live;
}

// Whether the database leads from something to ids of articles.
bool holds_postings(const DatabaseSpec& spec) {
  return spec.duplicates == Duplicates::NUMERIC || spec.field == &ArticledbDb::urlidx;
}

// Without the postings of articles that have no record. The order of the old buckets is one of
// the new ones too, as long as there are not more of them, but for some rounds where there are
// fewer.
void copy_database(const std::string& file, const DatabaseSpec& spec, LiveIds* live,
                   StoreWriter* writer, WorkMeter* meter) {
  const bool all = !holds_postings(spec);
  const auto is_kept = [&](std::string_view data) { return all || live->has(data); };
  Source source(writer->environment(), file, spec);
  BucketBytes bytes;
  if (spec.type == DB_HASH) {
    source.for_each([&](std::string_view key, std::string_view data) {
      if (is_kept(data)) {
        bytes.add(key, 1, data.size());
      }
    });
  }
  writer->begin(spec.field, bytes);
  source.for_each([&](std::string_view key, std::string_view data) {
    if (is_kept(data)) {
      writer->put(key, data);
    }
    meter->advance(key.size() + data.size());
  });
}

// What is made anew, and what is of no value without it.
bool is_kept(const std::string& name) {
  return name != DATABASE_FILE && !is_log_name(name) && !is_region_name(name) &&
         name != GATE_FILE && name != ROOM_FILE;
}

}  // namespace

void compact_store(const std::string& path, size_t cache_bytes, WorkMeter* meter) {
  const std::string file = path + "/" + DATABASE_FILE;
  struct stat attributes = {};
  require_call(stat(file.c_str(), &attributes));
  put_in_order(path);
  const SoleUse sole_use(path);
  BuildDirectory directory(path);
  require_call(stat(file.c_str(), &attributes));
  meter->set_total(static_cast<guint64>(attributes.st_size));
  StoreWriter writer(directory.path(), cache_bytes);
  LiveIds live = find_live_ids(file, writer.environment());
  for (const DatabaseSpec& spec : DATABASES) {
    copy_database(file, spec, &live, &writer, meter);
  }
  writer.finish();
  directory.adopt_from_target(DATABASE_FILE);
  directory.link_from_target(is_kept);
  directory.replace_target();
}

}  // namespace ostren::fenra::store
