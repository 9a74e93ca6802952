#include "store/bulk/store_compaction.h"

#include <sys/stat.h>

#include <algorithm>
#include <bitset>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/failed.h"
#include "base/handles.h"
#include "store/articledb.h"
#include "store/bulk/build_directory.h"
#include "store/bulk/database_source.h"
#include "store/bulk/store_writer.h"
#include "store/layout/database.h"
#include "store/layout/db_config.h"
#include "store/layout/schema.h"
#include "store/process/directory_lock.h"
#include "store/process/gate_file.h"
#include "store/process/ownership.h"
#include "store/sorted/id_list.h"
#include "store/sorted/merged_section.h"
#include "store/sorted/segment_file.h"
#include "store/waiting/segment_list.h"

namespace ostren::fenra::store {
namespace {

constexpr std::string_view ID_COUNTER(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);

// ---- the old store to oneself ----

// Recovers the store if it has to be, so that all that its log tells is in its database
// file, and what waits in segments.
void put_in_order(const std::string& path) {
  ArticledbDb* db = articledb_db_new();
  if (db == nullptr) {
    throw std::bad_alloc();
  }
  articledb_db_use_journal(db);
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
  std::unique_ptr<ArticledbDirectoryLock, Releaser<directory_lock_release>> lock_;
  std::unique_ptr<GateFile> gate_;
};

// ---- copying ----

// Which articles have a record.
class LiveIds {
 public:
  void add(std::string_view id_bytes) {
    if (id_bytes.size() == sizeof(guint64)) {
      const guint64 id = id_of(id_bytes);
      blocks_[id / Block().size()].set(id % Block().size());
    }
  }

  void remove(guint64 id) { blocks_[id / Block().size()].reset(id % Block().size()); }

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

// What waits beside the databases.
struct Waiting {
  SortedFiles files;
  guint64 last_id = 0;  // 0: nothing waits
};

Waiting open_segments(const std::string& path, const std::string& file, DB_ENV* env) {
  Waiting waiting;
  guint64 counter = 0;
  const auto* const spec =
      std::find_if(std::begin(DATABASES), std::end(DATABASES),
                   [](const DatabaseSpec& s) { return s.field == &ArticledbDb::iddb; });
  DatabaseSource(env, file, *spec).for_each([&](std::string_view key, std::string_view data) {
    if (key == ID_COUNTER && data.size() == sizeof counter) {
      memcpy(&counter, data.data(), sizeof counter);
    }
  });
  for (const SegmentRange& range : segments_behind(counter, read_segment_list(path))) {
    waiting.files.push_back(std::make_unique<SegmentFile>(open_to_read(path + "/" + range.name())));
    waiting.last_id = range.last_id;
  }
  return waiting;
}

LiveIds find_live_ids(const std::string& file, DB_ENV* env, const Waiting& waiting) {
  LiveIds live;
  for (const DatabaseSpec& spec : DATABASES) {
    if (spec.field == &ArticledbDb::urldb || spec.field == &ArticledbDb::txtdb) {
      DatabaseSource(env, file, spec).for_each([&](std::string_view key, std::string_view) {
        live.add(key);
      });
    }
  }
  for (MergedSection urls(waiting.files, section::URL_RECORDS); urls.next();) {
    live.add(database_key(section::URL_RECORDS, urls.key()));
  }
  for (MergedSection hidden(waiting.files, section::HIDDEN); hidden.next();) {
    live.remove(hidden_id(hidden.key()));
  }
  return live;
}

// One database's share of the old store: its pairs there, and then those that wait. The order of
// the old buckets is one of the new ones too, as long as there are not more of them, but for some
// rounds where there are fewer.
class Content {
 public:
  Content(const DatabaseSpec& spec, DatabaseSource* source, const Waiting& waiting, LiveIds* live)
      : spec_(spec), source_(*source), waiting_(waiting), live_(*live) {}

  // Calls `visit(key, data)` for every pair that is to stay.
  template <typename Visit>
  void for_each(Visit visit) {
    source_.for_each([&](std::string_view key, std::string_view data) {
      if (is_kept(key, data)) {
        visit(key, data);
      }
    });
    for_each_waiting(visit);
  }

 private:
  bool is_records() const {
    return spec_.field == &ArticledbDb::urldb || spec_.field == &ArticledbDb::txtdb;
  }

  // Postings of articles that have no record are left out.
  bool is_kept(std::string_view key, std::string_view data) {
    if (spec_.field == &ArticledbDb::iddb) {
      return waiting_.last_id == 0 || key != ID_COUNTER;
    }
    return spec_.field == &ArticledbDb::lemmadb || live_.has(is_records() ? key : data);
  }

  template <typename Visit>
  void for_each_waiting(Visit visit) {
    if (waiting_.last_id == 0) {
      return;
    }
    if (spec_.field == &ArticledbDb::iddb) {
      visit(ID_COUNTER, id_bytes(waiting_.last_id));
    } else if (spec_.field == &ArticledbDb::lemmadb) {
      for_each_lemma(visit);
    } else {
      const int section = section_of(spec_.field);
      for (MergedSection entries(waiting_.files, section); entries.next();) {
        const std::string_view key = database_key(section, entries.key());
        if (!is_records()) {
          for_each_id(entries.payload(), [&](guint64 id) { visit(key, id_bytes(id)); });
        } else if (live_.has(key)) {
          visit(key, entries.payload());
        }
      }
    }
  }

  template <typename Visit>
  void for_each_id(std::string_view payload, Visit visit) {
    for (IdReader ids(payload); !ids.at_end();) {
      const guint64 id = ids.next();
      if (live_.has(id_bytes(id))) {
        visit(id);
      }
    }
  }

  // A pair comes once for every segment that has it.
  template <typename Visit>
  void for_each_lemma(Visit visit) {
    std::string before;
    for (MergedSection entries(waiting_.files, section::LEMMAS); entries.next();) {
      if (entries.key() != before) {
        before = entries.key();
        const LemmaKey pair(before);
        if (!source_.has(pair.lemma, pair.form)) {
          visit(pair.lemma, pair.form);
        }
      }
    }
  }

  const DatabaseSpec& spec_;
  DatabaseSource& source_;
  const Waiting& waiting_;
  LiveIds& live_;
};

void copy_database(const std::string& file, const DatabaseSpec& spec, const Waiting& waiting,
                   LiveIds* live, StoreWriter* writer, WorkMeter* meter) {
  DatabaseSource source(writer->environment(), file, spec);
  Content content(spec, &source, waiting, live);
  BucketBytes bytes;
  if (spec.type == DB_HASH) {
    content.for_each(
        [&](std::string_view key, std::string_view data) { bytes.add(key, 1, data.size()); });
  }
  writer->begin(spec.field, bytes);
  content.for_each([&](std::string_view key, std::string_view data) {
    writer->put(key, data);
    meter->advance(key.size() + data.size());
  });
}

// What is made anew, and what is of no value without it.
bool is_kept(const std::string& name) {
  return name != DATABASE_FILE && !is_log_name(name) && !is_region_name(name) &&
         name != GATE_FILE && name != ROOM_FILE && name != SEGMENTS_FILE && !is_segment_name(name);
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
  const Waiting waiting = open_segments(path, file, writer.environment());
  LiveIds live = find_live_ids(file, writer.environment(), waiting);
  for (const DatabaseSpec& spec : DATABASES) {
    copy_database(file, spec, waiting, &live, &writer, meter);
  }
  writer.finish();
  directory.adopt_from_target(DATABASE_FILE);
  directory.link_from_target(is_kept);
  directory.replace_target();
}

}  // namespace ostren::fenra::store
