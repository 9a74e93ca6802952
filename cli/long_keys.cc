#include <algorithm>
#include <memory>

#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"
#include "cli/store_check.h"
#include "store/layout/stored_key.h"

namespace cli {
namespace {

using ostren::fenra::store::MOST_STORED_BYTES;

void close_cursor(DBC* cursor) { cursor->close(cursor); }

// The strings of one database that are longer than any that this version stores.
struct LongStrings {
  uint64_t count = 0;
  size_t longest = 0;

  void look_at(const DBT& item) {
    if (item.size > MOST_STORED_BYTES) {
      ++count;
      longest = std::max<size_t>(longest, item.size);
    }
  }
};

LongStrings find_long_strings(DB* database, bool in_data) {
  DBC* made = nullptr;
  int status = database->cursor(database, nullptr, &made, 0);
  const std::unique_ptr<DBC, Releaser<close_cursor>> cursor(made);
  LongStrings found;
  DBT key = {};
  DBT data = {};
  data.flags = in_data ? 0 : DB_DBT_PARTIAL;
  const u_int32_t step = in_data ? DB_NEXT : DB_NEXT_NODUP;
  while (status == 0 && (status = made->get(made, &key, &data, step)) == 0) {
    found.look_at(key);
    if (in_data) {
      found.look_at(data);
    }
  }
  if (status != DB_NOTFOUND) {
    throw Failure("cannot read the store: " + status_text(status));
  }
  return found;
}

}  // namespace

void check_long_keys(ArticledbDb* db, CheckResult& result) {
  const struct {
    const char* name;
    DB* database;
    bool in_data;
  } databases[] = {{"urlidx", db->urlidx, false},
                   {"sourcedb", db->sourcedb, false},
                   {"formdb", db->formdb, false},
                   {"lemmadb", db->lemmadb, true}};
  for (const auto& [name, database, in_data] : databases) {
    const LongStrings found = find_long_strings(database, in_data);
    if (found.count != 0) {
      result.problems.add(std::string(name) + ": an earlier version has stored entries of more " +
                          "than " + std::to_string(MOST_STORED_BYTES) + " bytes (" +
                          std::to_string(found.count) + ", the longest with " +
                          std::to_string(found.longest) +
                          "), which are not found any more and can damage the index; make a new "
                          "one with fenra rebuild");
    }
  }
}

}  // namespace cli
