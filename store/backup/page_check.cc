#include "store/backup/page_check.h"

#include <cstring>
#include <iterator>
#include <new>

#include "store/layout/schema.h"

namespace ostren::fenra::store {
namespace {

// The order of ids, as the library has it for items of their size: a damaged database can hold
// others.
int compare_ids(DB*, const DBT* left, const DBT* right) {
  guint64 a = 0;
  guint64 b = 0;
  if (left->size != sizeof a || right->size != sizeof b) {
    return left->size < right->size ? -1 : left->size > right->size ? 1 : 0;
  }
  memcpy(&a, left->data, sizeof a);
  memcpy(&b, right->data, sizeof b);
  return a < b ? -1 : a > b ? 1 : 0;
}

struct Target {
  const std::function<void(const std::string&)>& finding;
  bool called;
};

// The environment is one that Berkeley DB has made for the handle alone.
void take_message(const DB_ENV* env, const char* prefix, const char* message) {
  auto* target = static_cast<Target*>(env->app_private);
  target->called = true;
  target->finding(std::string(prefix) + ": " + message);
}

// One run of the verification, which ends its handle whatever it finds.
void verify(const std::string& file, const char* database, bool numeric, guint32 flags,
            const std::function<void(const std::string&)>& finding) {
  constexpr guint32 CACHE_BYTES = 64 << 20;
  DB* handle = nullptr;
  if (db_create(&handle, nullptr, 0) != 0) {
    throw std::bad_alloc();
  }
  const char* const prefix = database == nullptr ? DATABASE_FILE : database;
  Target target = {finding, false};
  handle->get_env(handle)->app_private = &target;
  handle->set_errcall(handle, take_message);
  handle->set_errpfx(handle, prefix);
  handle->set_cachesize(handle, 0, CACHE_BYTES, 1);
  if (numeric) {
    handle->set_dup_compare(handle, compare_ids);
  }
  const int ret = handle->verify(handle, file.c_str(), database, nullptr, flags);
  if (ret != 0 && !target.called) {
    finding(std::string(prefix) + ": " + db_strerror(ret));
  }
}

}  // namespace

void check_pages(const std::string& directory,
                 const std::function<void(const std::string&)>& finding, WorkMeter* meter) {
  const std::string file = directory + "/" + DATABASE_FILE;
  meter->set_total(1 + std::size(DATABASES));
  verify(file, nullptr, false, DB_NOORDERCHK, finding);
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    meter->advance(1);
    verify(file, database->name, database->duplicates == Duplicates::NUMERIC, DB_ORDERCHKONLY,
           finding);
  }
}

}  // namespace ostren::fenra::store
