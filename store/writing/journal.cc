#include "store/writing/journal.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "store/waiting/journal_article.h"
#include "store/writing/article_version.h"
#include "store/writing/journal_writing.h"

namespace ostren::fenra::store {
namespace {

// What must be free beside the room that articles take in the databases: for the journal,
// the log and some more.
constexpr guint64 ROOM_BYTES = guint64{64} << 20;

// Writing out so much takes a few seconds.
constexpr guint64 MOST_WAITING_BYTES = guint64{4} << 20;

// What a byte of a record may take in the databases, with short words and half-full pages.
constexpr guint64 LARGEST_GROWTH = 64;

// By what the free room of a disk that was full must have grown: Berkeley DB waits for
// seconds, again and again, for pages that it cannot write.
constexpr guint64 MORE_ROOM_BYTES = guint64{1} << 20;

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

void Journal::report(ArticledbDb* db, int code, const char* what) const {
  if (code == EPROTO) {
    db->env->errx(db->env,
                  "%s/fenra.journal: not a journal that this version can read; open the store with "
                  "the version that wrote it, or remove the file and with it the articles in it",
                  directory_);
  } else if (!passes(code)) {
    db->env->err(db->env, code, "%s/fenra.journal: its articles cannot be %s", directory_, what);
  }
}

// ---- writing to the databases ----

int Journal::write_out(ArticledbDb* db) {
  if (state_.wanted != 0 && free_bytes() < state_.wanted) {
    return ENOSPC;
  }
  const int ret = status_of([&] { apply(db); });
  state_.wanted = ret == ENOSPC ? free_bytes() + MORE_ROOM_BYTES : 0;
  if (ret != 0) {
    report(db, ret, "written to the databases");
  }
  return ret;
}

// The records from `begin` on. Throws Failed.
std::vector<JournalFile::Record> Journal::read_records(guint64 begin, std::string* bytes) {
  open_file(false);
  if (file_ == nullptr) {
    require(state_.known != 0 && state_.end != JournalFile::BEGIN ? ENOENT : 0);
    return {};
  }
  std::vector<JournalFile::Record> records =
      file_->read(begin, state_.known != 0 ? state_.end : JournalFile::MOST_BYTES, bytes);
  const guint64 end = records.empty() ? begin : end_of(records.back());
  require(state_.known != 0 && end != state_.end ? EIO : 0);
  return records;
}

void Journal::learn(ArticledbDb* db) {
  if (state_.known != 0) {
    return;
  }
  std::string bytes;
  const std::vector<JournalFile::Record> records = read_records(JournalFile::BEGIN, &bytes);
  const guint64 counter = require_counter(db);
  state_.end = records.empty() ? JournalFile::BEGIN : end_of(records.back());
  const auto first = std::find_if(records.begin(), records.end(),
                                  [&](const auto& record) { return record.id > counter; });
  state_.applied = first == records.end() ? state_.end : first->offset;
  state_.last_id = records.empty() ? counter : std::max(counter, records.back().id);
  state_.growth = LARGEST_GROWTH * (state_.end - state_.applied);
  state_.known = 1;
}

void Journal::apply(ArticledbDb* db) {
  learn(db);
  std::string bytes;
  const std::vector<JournalArticle> articles =
      read_articles(read_records(state_.applied, &bytes), require_counter(db));
  if (!articles.empty()) {
    gate_.count_change();
  }
  write_articles(db, articles, [this] { gate_.count_replacement(); });
  state_.applied = state_.end;
  state_.growth = 0;
}

// ---- reading ----

int Journal::look(ArticledbDb* db) {
  const int ret = status_of([&] { bring_up_to_date(db); });
  if (ret != 0) {
    // Parts of it may be there.
    looked_ = false;
    report(db, ret, "read");
  }
  return ret;
}

// While the databases stay as they are, nothing is taken from the front of the journal.
void Journal::bring_up_to_date(ArticledbDb* db) {
  learn(db);
  if (!looked_ || looked_changes_ != gate_.changes()) {
    index_.begin(require_counter(db));
    looked_end_ = state_.applied;
  }
  if (looked_end_ != state_.end) {
    std::string* const bytes = index_.new_bytes();
    for (JournalArticle& article :
         read_articles(read_records(looked_end_, bytes), index_.last_id())) {
      OtherVersions others;
      require(read_other_versions(db, article.records.url, article.id, Reach::NEWEST, &others));
      // Some that wait may be in the databases in part.
      const auto waits = [this](guint64 id) { return id > index_.base(); };
      others.ids.erase(std::remove_if(others.ids.begin(), others.ids.end(), waits),
                       others.ids.end());
      index_.add(std::move(article), others.ids);
    }
  }
  looked_ = true;
  looked_changes_ = gate_.changes();
  looked_end_ = state_.end;
}

// ---- taking articles ----

// Throws what append returns.
void Journal::admit(ArticledbDb* db, guint64 growth, guint64* last_id) {
  learn(db);
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
  const bool is_full = state_.end + bytes > MOST_WAITING_BYTES;
  if (is_full) {
    require(settle(db));
    require(db->env->log_flush(db->env, nullptr));
    // Nobody goes on reading where the round before ended.
    gate_.count_change();
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
