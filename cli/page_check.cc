#include <cstring>
#include <memory>
#include <new>

#include "cli/databases.h"
#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"
#include "cli/store_check.h"

namespace cli {
namespace {

// The order of ids, as the library has it for items of their size: a damaged database can hold
// others.
int compare_ids(DB*, const DBT* left, const DBT* right) {
  guint64 a = 0;
  guint64 b = 0;
  if (left->size != sizeof(a) || right->size != sizeof(b)) {
    return left->size < right->size ? -1 : left->size > right->size ? 1 : 0;
  }
  std::memcpy(&a, left->data, sizeof(a));
  std::memcpy(&b, right->data, sizeof(b));
  return a < b ? -1 : a > b ? 1 : 0;
}

// Berkeley DB's messages have no argument of the caller's.
Findings* message_target = nullptr;

void take_message(const DB_ENV*, const char* prefix, const char* message) {
  message_target->add(std::string(prefix) + ": " + message);
}

// One run of Berkeley DB's verification, which ends its handle whatever it finds.
void verify(const std::string& file, const char* database, bool numeric, u_int32_t flags,
            Findings& problems) {
  constexpr u_int32_t kCacheBytes = 64 << 20;
  DB* handle = nullptr;
  if (db_create(&handle, nullptr, 0) != 0) {
    throw std::bad_alloc();
  }
  const char* prefix = database == nullptr ? DATABASE_FILE : database;
  message_target = &problems;
  handle->set_errcall(handle, take_message);
  handle->set_errpfx(handle, prefix);
  handle->set_cachesize(handle, 0, kCacheBytes, 1);
  if (numeric) {
    handle->set_dup_compare(handle, compare_ids);
  }
  const uint64_t before = problems.count();
  const int status = handle->verify(handle, file.c_str(), database, nullptr, flags);
  if (status != 0 && problems.count() == before) {
    problems.add(std::string(prefix) + ": " + status_text(status));
  }
}

}  // namespace

void check_pages(const std::string& path, StatusLine& line, CheckResult& result) {
  const std::string file = path + "/" + DATABASE_FILE;
  line.show([](int) { return std::string("pages"); });
  verify(file, nullptr, false, DB_NOORDERCHK, result.problems);
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    line.show([&](int) { return std::string("order of ") + database->name; });
    verify(file, database->name, database->duplicates == Duplicates::NUMERIC, DB_ORDERCHKONLY,
           result.problems);
  }
}

}  // namespace cli
