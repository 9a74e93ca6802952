// The lookups that read a whole index: what is asked for does not lie together in it.
#include <cstring>
#include <string_view>

#include "store/reading/key_scan.h"
#include "store/reading/read_memory.h"
#include "streams/articledb_generator.h"
#include "streams/id_set.h"

using namespace ostren::fenra;

namespace {

// What is asked for: the bytes identify it.
struct Scan {
  ArticledbDb* db;
  store::DatabaseField database;
  std::string_view bytes;
};

// The ids under the wanted keys. They are kept in the handle: a page of an answer is rarely asked
// for alone, and reading 130,000 forms for one takes 0.2 s.
template <typename Wanted>
OstrenGenerator* scan(const Scan& asked, Wanted wanted) {
  constexpr char KIND = 's';  // no list of items has such a name
  store::ReadName name;
  name.append(&KIND, sizeof KIND);
  name.append(&asked.database, sizeof asked.database);
  name.append(asked.bytes.data(), asked.bytes.size());
  store::ReadCache* const reads = store::read_cache_of(asked.db);
  std::string_view bits;
  if (reads != nullptr && reads->find(name, store::gate_changes(asked.db), &bits)) {
    return streams::id_set_of_bits_new(bits);
  }
  guint64 changes = 0;
  OstrenGenerator* set = streams::id_set_new(asked.db, [&](streams::AddId add, void* ids) {
    return store::scan_keys(asked.db, asked.database, wanted, add, ids, &changes);
  });
  if (set != nullptr && reads != nullptr && !streams::id_set_bits(set).empty()) {
    reads->keep(name, changes, streams::id_set_bits(set));
  }
  return set;
}

}  // namespace

OstrenGenerator* articledb_db_date_range_lookup_generator_new(ArticledbDb* db, guint32 first,
                                                              guint32 last) {
  const guint32 range[] = {first, last};
  const std::string_view bytes(reinterpret_cast<const char*>(range), sizeof range);
  return scan({db, &ArticledbDb::datedb, bytes}, [first, last](std::string_view key) {
    guint32 date = 0;
    if (key.size() != sizeof date) {
      return false;
    }
    memcpy(&date, key.data(), sizeof date);
    return first <= date && date <= last;
  });
}

OstrenGenerator* articledb_db_form_prefix_lookup_generator_new(ArticledbDb* db, const char* prefix,
                                                               guint32 length) {
  if (length > ARTICLEDB_MOST_PREFIX_BYTES) {
    return nullptr;
  }
  const std::string_view beginning(prefix, length);
  return scan({db, &ArticledbDb::formdb, beginning}, [beginning](std::string_view key) {
    return key.substr(0, beginning.size()) == beginning;
  });
}
