#include "articles/opening.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>

#include "articles/failure.h"
#include "store/layout/database.h"
#include "store/layout/store_files.h"

namespace ostren::fenra::articles {
namespace {

namespace fs = std::filesystem;

template <typename Open>
Store open_with(Open open, const std::string& path, const std::string& failure,
                bool uses_journal = true) {
  Store store(articledb_db_new());
  if (store == nullptr) {
    throw std::bad_alloc();
  }
  errno = 0;
  int status = uses_journal ? articledb_db_use_journal(store.get()) : 0;
  status = status != 0 ? status : open(store.get(), path.c_str());
  if (status != 0) {
    const int code = status == -1 && errno != 0 ? errno : status;
    // -1: the directory cannot be made, for the reason that the system gave.
    throw Failure(failure + " '" + path + "': " + status_text(code), code);
  }
  return store;
}

Store create_with_rules(const std::string& path, const std::string& rules) {
  const auto create = [&rules](ArticledbDb* db, const char* directory) {
    return articledb_db_create_with_rules(db, directory, rules.c_str());
  };
  return open_with(create, path, "cannot make the store");
}

Store make_store(const std::string& path, const std::string& rules) {
  std::error_code error;
  if (fs::exists(path, error) && rmdir(path.c_str()) != 0) {
    const std::string reason = errno == ENOTEMPTY || errno == EEXIST
                                   ? std::string("it has files, but no ") + store::DATABASE_FILE
                                   : std::string(std::strerror(errno));
    throw Failure(
        "cannot make a store of '" + path + "': " + reason + "; name a new or an empty directory",
        EEXIST);
  }
  return create_with_rules(path, rules);
}

// Nothing can have been indexed in a store whose making was cut short.
bool is_complete(ArticledbDb* db) {
  using store::ID_COUNTER_KEY;
  DBT key = store::input_item(ID_COUNTER_KEY, sizeof(ID_COUNTER_KEY));
  return db->iddb->exists(db->iddb, nullptr, &key, 0) != DB_NOTFOUND;
}

}  // namespace

bool has_database(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(fs::path(path) / store::DATABASE_FILE, error);
}

Store open_existing(const std::string& path) {
  return open_with(articledb_db_open, path, "cannot open the store");
}

Store open_databases(const std::string& path) {
  return open_with(articledb_db_open, path, "cannot open the store", false);
}

Store open_read_only(const std::string& path) {
  return open_with(articledb_db_open_read_only, path, "cannot open the store for reading");
}

Store open_or_make(const std::string& path, const std::string& rules) {
  if (!has_database(path)) {
    return make_store(path, rules);
  }
  Store store = open_existing(path);
  if (!is_complete(store.get())) {
    close_store(std::move(store));
    store = create_with_rules(path, rules);
  }
  return store;
}

void close_store(Store store) {
  check(articledb_db_close(store.release()), "cannot close the store");
}

}  // namespace ostren::fenra::articles
