// The lookups that read a whole index: what is asked for does not lie together in it.
#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "store/reading/key_scan.h"
#include "store/reading/read_memory.h"
#include "streams/articledb_generator.h"
#include "streams/id_set.h"

using namespace ostren::fenra;

namespace {

// A name for what is kept of a scan: the bytes say what is asked for in the database, and in what
// waits now.
store::ReadName name_of(ArticledbDb* db, store::DatabaseField database, std::string_view bytes) {
  constexpr char KIND = 's';  // no list of items has such a name
  const guint64 additions = store::gate_additions(db);
  store::ReadName name;
  name.append(&KIND, sizeof KIND);
  name.append(&additions, sizeof additions);
  name.append(&database, sizeof database);
  name.append(bytes.data(), bytes.size());
  return name;
}

// What is kept under the name, of the store as it is; empty when there is nothing.
std::string_view recall(ArticledbDb* db, const store::ReadName& name) {
  const store::ReadCache* const reads = store::read_cache_of(db);
  std::string_view kept;
  return reads != nullptr && reads->find(name, store::gate_changes(db), &kept) ? kept
                                                                               : std::string_view();
}

void keep(ArticledbDb* db, const store::ReadName& name, guint64 changes, std::string_view bytes) {
  store::ReadCache* const reads = store::read_cache_of(db);
  if (reads != nullptr && !bytes.empty()) {
    reads->keep(name, changes, bytes);
  }
}

// The ids under the wanted keys, which the bytes stand for. They are kept in the handle: a page of
// an answer is rarely asked for alone, and reading 130,000 forms for one takes 0.2 s.
template <typename Wanted>
OstrenGenerator* scan(ArticledbDb* db, store::DatabaseField database, std::string_view bytes,
                      Wanted wanted) {
  const store::ReadName name = name_of(db, database, bytes);
  const std::string_view bits = recall(db, name);
  if (!bits.empty()) {
    return streams::id_set_of_bits_new(bits);
  }
  guint64 changes = 0;
  OstrenGenerator* set = streams::id_set_new(db, [&](streams::AddId add, void* ids) {
    return store::scan_keys(db, database, wanted, add, ids, &changes);
  });
  if (set != nullptr) {
    keep(db, name, changes, streams::id_set_bits(set));
  }
  return set;
}

// ---- dates ----

// 0 for what is no date, which a date may be as well.
guint32 date_of(std::string_view key) {
  guint32 date = 0;
  if (key.size() == sizeof date) {
    memcpy(&date, key.data(), sizeof date);
  }
  return date;
}

// The date of each id, and 0 for one that has none. One query after the other asks for another
// range, and dates in it take as long to read from the index as all of them: so these are kept.
class DateTable {
 public:
  explicit DateTable(ArticledbDb* db) {
    const store::ReadName name = name_of(db, &ArticledbDb::datedb, "");
    const std::string_view kept = recall(db, name);
    if (!kept.empty()) {
      dates_.resize(kept.size() / sizeof(guint32));
      memcpy(dates_.data(), kept.data(), dates_.size() * sizeof(guint32));
      return;
    }
    guint64 max_id = 0;
    if (articledb_db_max_id(db, &max_id) == 0 && max_id < MOST_IDS && read(db)) {
      keep(db, name, changes_,
           {reinterpret_cast<const char*>(dates_.data()), dates_.size() * sizeof(guint32)});
    } else {
      dates_.clear();
    }
  }

  // Without the dates: they are too many, or an id has two, or they cannot be read.
  bool empty() const { return dates_.empty(); }

  void add_range(guint32 first, guint32 last, streams::AddId add, void* ids) const {
    for (size_t id = 0; id < dates_.size(); ++id) {
      if (first <= dates_[id] && dates_[id] <= last) {
        add(ids, id);
      }
    }
  }

 private:
  static constexpr guint64 MOST_IDS = 100000;  // more would not be kept

  bool read(ArticledbDb* db) {
    dates_.assign(1, 0);
    return store::scan_keys(
               db, &ArticledbDb::datedb,
               [this](std::string_view key) { return (date_ = date_of(key)) != 0; }, set, this,
               &changes_) == 0 &&
           !unusual_;
  }

  // An id that comes again has its date already when the scan begins anew.
  static void set(void* table, guint64 id) {
    auto* self = static_cast<DateTable*>(table);
    self->unusual_ = self->unusual_ || id >= MOST_IDS;
    if (self->unusual_) {
      return;
    }
    self->dates_.resize(std::max<size_t>(self->dates_.size(), id + 1));
    guint32& date = self->dates_[id];
    self->unusual_ = date != 0 && date != self->date_;
    date = self->date_;
  }

  std::vector<guint32> dates_;
  guint64 changes_ = 0;
  guint32 date_ = 0;  // of the key that is visited
  bool unusual_ = false;
};

}  // namespace

OstrenGenerator* articledb_db_date_range_lookup_generator_new(ArticledbDb* db, guint32 first,
                                                              guint32 last) {
  const DateTable table(db);
  if (first != 0 && !table.empty()) {
    return streams::id_set_new(db, [&](streams::AddId add, void* ids) {
      table.add_range(first, last, add, ids);
      return 0;
    });
  }
  const guint32 range[] = {first, last};
  const std::string_view bytes(reinterpret_cast<const char*>(range), sizeof range);
  return scan(db, &ArticledbDb::datedb, bytes, [first, last](std::string_view key) {
    const guint32 date = date_of(key);
    return key.size() == sizeof date && first <= date && date <= last;
  });
}

OstrenGenerator* articledb_db_form_prefix_lookup_generator_new(ArticledbDb* db, const char* prefix,
                                                               guint32 length) {
  if (length > ARTICLEDB_MOST_PREFIX_BYTES) {
    return nullptr;
  }
  const std::string_view beginning(prefix, length);
  return scan(db, &ArticledbDb::formdb, beginning, [beginning](std::string_view key) {
    return key.substr(0, beginning.size()) == beginning;
  });
}
