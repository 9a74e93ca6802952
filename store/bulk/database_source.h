// A database of a closed store that is read from end to end.
#ifndef FENRA_STORE_BULK_DATABASE_SOURCE_H
#define FENRA_STORE_BULK_DATABASE_SOURCE_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/failed.h"
#include "store/articledb.h"
#include "store/layout/database.h"
#include "store/layout/schema.h"

namespace ostren::fenra::store {

// All of it throws Failed.
class DatabaseSource {
 public:
  DatabaseSource(DB_ENV* env, const std::string& file, const DatabaseSpec& spec)
      : buffer_(1 << 20) {
    DB* database = nullptr;
    require(db_create(&database, env, 0));
    database_.reset(database);
    int step = 0;
    require(schema_configure(database, spec, &step));
    require(database->open(database, nullptr, file.c_str(), spec.name, spec.type, DB_RDONLY, 0));
  }

  // Whether it has the pair.
  bool has(std::string_view key, std::string_view data) const {
    DBT key_item = input_item(key);
    DBT data_item = input_item(data);
    return database_->get(database_.get(), nullptr, &key_item, &data_item, DB_GET_BOTH) == 0;
  }

  // Calls `visit(key, data)` for every pair, in the order in which the database has them. They are
  // valid until it returns.
  template <typename Visit>
  void for_each(Visit visit) {
    DBC* opened = nullptr;
    require(database_->cursor(database_.get(), nullptr, &opened, 0));
    const std::unique_ptr<DBC, Releaser> cursor(opened);
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
  struct Releaser {
    void operator()(DB* database) const { database->close(database, 0); }
    void operator()(DBC* cursor) const { cursor->close(cursor); }
  };

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

  std::unique_ptr<DB, Releaser> database_;
  std::vector<char> buffer_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_DATABASE_SOURCE_H
