#include "store/writing/journal.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "store/writing/journal_article.h"
#include "store/writing/journal_writing.h"

namespace ostren::fenra::store {
namespace {

// What must be free beside the room that articles take in the databases: for the journal,
// the log and some more.
constexpr guint64 ROOM_BYTES = guint64{64} << 20;

// By what the free room of a disk that was full must have grown: Berkeley DB waits for
// seconds, again and again, for pages that it cannot write.
constexpr guint64 MORE_ROOM_BYTES = guint64{1} << 20;

// Microseconds that it may take to write out what waits, when a reader has just waited for
// it; the factor by which this grows each time that nobody did; and the most.
constexpr guint64 LEAST_PATIENCE = 100000;
constexpr guint64 GROWTH = 4;
constexpr guint64 MOST_PATIENCE = 3000000;

// Most pages of a large database file have to be fetched from the disk. Until it is known
// better, a MiB of records is taken to last as long as may be.
constexpr guint64 LARGE_DATABASE_BYTES = guint64{512} << 20;
constexpr guint64 COST_IN_LARGE_DATABASE = MOST_PATIENCE;

// Fewer bytes of records tell nothing about the cost of many.
constexpr guint64 LEAST_MEASURED_BYTES = guint64{16} << 10;

// So many may wait whatever writing them has cost: enough for the next cost to be measured, so
// that one slow batch is forgotten with the next.
constexpr guint64 LEAST_WAITING_BYTES = 4 * LEAST_MEASURED_BYTES;

constexpr guint64 MEBIBYTE = guint64{1} << 20;

// The last id that the databases know of.
int read_counter(ArticledbDb* db, guint64* last_id) {
  DBT key = input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);
  DBT data = output_item(last_id, sizeof *last_id);
  return db->iddb->get(db->iddb, nullptr, &key, &data, 0);
}

// The same, 0 where there is none. Throws Failed.
guint64 require_counter(ArticledbDb* db) {
  guint64 last_id = 0;
  const int ret = read_counter(db, &last_id);
  require(ret == DB_NOTFOUND ? 0 : ret);
  return last_id;
}

guint64 end_of(const JournalFile::Record& record) {
  return record.offset + JOURNAL_RECORD_HEADER_BYTES + record.payload.size();
}

std::vector<JournalArticle> read_articles(const std::vector<JournalFile::Record>& records,
                                          guint64 after_id) {
  std::vector<JournalArticle> articles;
  for (const JournalFile::Record& record : records) {
    if (record.id > after_id) {
      articles.push_back(read_journal_article(record.id, record.payload));
    }
  }
  return articles;
}

// Whether the same call may do better in a moment, or is made again by the gate.
bool passes(int code) {
  return code == DB_LOCK_DEADLOCK || code == DB_LOCK_NOTGRANTED || code == DB_RUNRECOVERY;
}

}  // namespace

void Journal::open_file(bool create) {
  if (file_ == nullptr) {
    file_ = JournalFile::open(directory_, create);
  }
}

// 0 when the system does not tell.
guint64 Journal::free_bytes() const {
  struct statvfs disk = {};
  return statvfs(directory_, &disk) == 0 ? guint64{disk.f_bavail} * disk.f_frsize : 0;
}

void Journal::report(ArticledbDb* db, int code) const {
  if (code == EPROTO) {
    db->env->errx(db->env,
                  "%s/fenra.journal: not a journal that this version can read; open the store with "
                  "the version that wrote it, or remove the file and with it the articles in it",
                  directory_);
  } else if (!passes(code)) {
    db->env->err(db->env, code, "%s/fenra.journal: its articles cannot be written to the databases",
                 directory_);
  }
}

// How many bytes of records may wait.
guint64 Journal::most_bytes() const {
  guint64 cost = state_.cost;
  struct stat file = {};
  if (cost == 0 && stat((std::string(directory_) + "/" + DATABASE_FILE).c_str(), &file) == 0 &&
      static_cast<guint64>(file.st_size) > LARGE_DATABASE_BYTES) {
    cost = COST_IN_LARGE_DATABASE;
  }
  const guint64 patience = state_.patience == 0 ? MOST_PATIENCE : state_.patience;
  return cost == 0
             ? JournalFile::MOST_BYTES
             : std::clamp(patience * MEBIBYTE / cost, LEAST_WAITING_BYTES, JournalFile::MOST_BYTES);
}

// ---- writing to the databases ----

int Journal::write_out(ArticledbDb* db) {
  if (state_.wanted != 0 && free_bytes() < state_.wanted) {
    return ENOSPC;
  }
  const int ret = status_of([&] { apply(db); });
  state_.wanted = ret == ENOSPC ? free_bytes() + MORE_ROOM_BYTES : 0;
  if (ret != 0) {
    report(db, ret);
  }
  return ret;
}

int Journal::settle_for_reader(ArticledbDb* db) {
  if (!is_settled() && state_.known != 0) {
    state_.patience = LEAST_PATIENCE;
  }
  return settle(db);
}

void Journal::apply(ArticledbDb* db) {
  open_file(false);
  if (file_ == nullptr) {
    require(state_.known != 0 ? ENOENT : 0);
    state_.known = 1;
    state_.applied = state_.end = JournalFile::BEGIN;
    state_.growth = 0;
    state_.last_id = 0;
    return;
  }
  const guint64 last_id = require_counter(db);
  const guint64 begin = state_.known != 0 ? state_.applied : JournalFile::BEGIN;
  std::string bytes;
  const std::vector<JournalFile::Record> records =
      file_->read(begin, state_.known != 0 ? state_.end : JournalFile::MOST_BYTES, &bytes);
  const guint64 end = records.empty() ? begin : end_of(records.back());
  require(state_.known != 0 && end != state_.end ? EIO : 0);
  const std::vector<JournalArticle> articles = read_articles(records, last_id);
  if (!articles.empty()) {
    gate_.count_change();
  }
  const gint64 start = g_get_monotonic_time();
  write_articles(db, articles, [this] { gate_.count_replacement(); });
  // Otherwise some of the bytes are of articles that had been written.
  if (articles.size() == records.size() && end - begin >= LEAST_MEASURED_BYTES) {
    const auto time = static_cast<guint64>(g_get_monotonic_time() - start);
    state_.cost = std::max(time * MEBIBYTE / (end - begin), guint64{1});
  }
  state_.known = 1;
  state_.applied = state_.end = end;
  state_.growth = 0;
  state_.last_id = records.empty() ? last_id : std::max(last_id, records.back().id);
}

// ---- taking articles ----

// Throws what append returns.
void Journal::admit(ArticledbDb* db, guint64 growth, guint64* last_id) {
  require(state_.known != 0 ? 0 : settle(db));
  *last_id = state_.last_id;
  if (*last_id == 0) {
    const int ret = read_counter(db, last_id);
    require(ret == DB_NOTFOUND ? DECLINED : ret);
  }
  const bool has_room = free_bytes() >= ROOM_BYTES + state_.growth + growth;
  require(*last_id != G_MAXUINT64 && has_room ? 0 : DECLINED);
}

int Journal::admits(ArticledbDb* db) {
  guint64 last_id = 0;
  return status_of([&] { admit(db, 0, &last_id); });
}

// Writes out what waits when there may not be more of it, and begins anew at the end of the
// file: what is overwritten then must be safe in the databases' log.
void Journal::make_way(ArticledbDb* db, guint64 bytes) {
  const bool is_full = state_.end + bytes > JournalFile::MOST_BYTES;
  const guint64 waiting = state_.end - state_.applied;
  if (is_full || (waiting != 0 && waiting + bytes > most_bytes())) {
    require(settle(db));
    state_.patience = state_.patience * GROWTH < MOST_PATIENCE ? state_.patience * GROWTH : 0;
  }
  if (is_full) {
    require(db->env->log_flush(db->env, nullptr));
    state_.applied = state_.end = JournalFile::BEGIN;
  }
}

int Journal::append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) {
  return status_of([&] {
    guint64 last_id = 0;
    admit(db, growth, &last_id);
    open_file(true);
    make_way(db, record->size());
    file_->write(state_.end, last_id + 1, record);
    state_.end += record->size();
    state_.growth += growth;
    state_.last_id = *id = last_id + 1;
  });
}

int Journal::remove() {
  file_.reset();
  state_ = {};
  return status_of([this] { JournalFile::remove(directory_); });
}

void write_out_journal(ArticledbDb* db, const char* directory) {
  const std::unique_ptr<JournalFile> file = JournalFile::open(directory, false);
  if (file == nullptr) {
    return;
  }
  std::string bytes;
  const std::vector<JournalArticle> articles = read_articles(
      file->read(JournalFile::BEGIN, JournalFile::MOST_BYTES, &bytes), require_counter(db));
  if (!articles.empty()) {
    write_articles(db, articles, [] {});
  }
  require(db->env->log_flush(db->env, nullptr));
  JournalFile::remove(directory);
}

}  // namespace ostren::fenra::store
