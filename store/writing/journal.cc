#include "store/writing/journal.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "base/failed.h"
#include "store/layout/id_counter.h"
#include "store/layout/stored_key.h"
#include "store/sorted/article_entries.h"
#include "store/sorted/segment_writer.h"
#include "store/waiting/journal_article.h"
#include "store/writing/article_version.h"
#include "store/writing/segment_writing.h"
#include "store/writing/waiting_files.h"

namespace ostren::fenra::store {
namespace {

// What must be free beside the room that articles take in the databases: for the journal,
// the log and some more.
constexpr guint64 ROOM_BYTES = guint64{64} << 20;

// Some 250 articles, of which a segment is made in some 30 ms.
constexpr guint64 MOST_WAITING_BYTES = guint64{1} << 20;

// What the last handle to leave merges: segments that take less than about 0.1 s, or all when there
// are so many.
constexpr guint64 QUICKLY_MERGED_BYTES = guint64{8} << 20;
constexpr size_t MOST_SEGMENTS = 64;

// What a byte of a record may take in the databases, with short words and half-full pages.
constexpr guint64 LARGEST_GROWTH = 64;

// By what the free room of a disk that was full must have grown: Berkeley DB waits for
// seconds, again and again, for pages that it cannot write.
constexpr guint64 MORE_ROOM_BYTES = guint64{1} << 20;

guint64 end_of(const JournalFile::Record& record) {
  return record.offset + JOURNAL_RECORD_HEADER_BYTES + record.payload.size();
}

void remove_unlisted(const std::string& directory, const SegmentRanges& listed,
                     const SegmentRange& segment) {
  if (std::find(listed.begin(), listed.end(), segment) == listed.end()) {
    unlink((directory + "/" + segment.name()).c_str());
  }
}

guint64 bytes_of(const std::string& directory, const SegmentRanges& segments) {
  guint64 bytes = 0;
  for (const SegmentRange& segment : segments) {
    bytes += file_size(open_to_read(directory + "/" + segment.name()).get());
  }
  return bytes;
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
    db->env->errx(
        db->env,
        "%s/fenra.journal: it, fenra.segments or a fenra.segment file is damaged, or "
        "belongs to other databases, or cannot be read by this version; put a backup into "
        "the store's place, open the store with the version that wrote it, or remove the "
        "files of these names and with them the articles in them",
        directory_);
  } else if (!passes(code)) {
    db->env->err(db->env, code,
                 "%s/fenra.journal: its articles, or those of segments, cannot be %s", directory_,
                 what);
  }
}

// ---- writing to the databases ----

int Journal::write_out_all(ArticledbDb* db) {
  if (state_.wanted != 0 && free_bytes() < state_.wanted) {
    return ENOSPC;
  }
  const int ret = status_of([&] {
    bring_up_to_date(db);
    if (!view_.is_empty()) {
      gate_.count_change();
      write_out(db, sorted_files(directory_, segments_, view_.memory()), view_.last_id(),
                [this] { gate_.count_replacement(); });
      require(db->env->log_flush(db->env, nullptr));
      publish({});
      remove_other_segments(directory_, {});
    }
    begin_anew();
  });
  state_.wanted = ret == ENOSPC ? free_bytes() + MORE_ROOM_BYTES : 0;
  if (ret != 0) {
    looked_ = false;
    report(db, ret, "written to the databases");
  }
  return ret;
}

// What is at the beginning of the journal may be overwritten.
void Journal::begin_anew() {
  state_.applied = state_.end = JournalFile::BEGIN;
  state_.growth = 0;
  ++state_.rounds;
}

// Replaces the list of segments.
void Journal::publish(const SegmentRanges& segments) {
  write_segment_list(directory_, segments);
  state_.segments = segments.size();
  ++state_.rounds;
  gate_.count_addition();
}

// ---- reading ----

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

// After an opening or a recovery: what has been written out, and merged, may still be there.
void Journal::learn(ArticledbDb* db) {
  if (state_.known != 0) {
    return;
  }
  const guint64 counter = require_id_counter(db);
  const SegmentRanges listed = read_segment_list(directory_);
  const SegmentRanges segments = segments_behind(counter, listed);
  if (segments != listed) {
    write_segment_list(directory_, segments);
  }
  remove_other_segments(directory_, segments);
  const guint64 settled = segments.empty() ? counter : segments.back().last_id;
  std::string bytes;
  const std::vector<JournalFile::Record> records = read_records(JournalFile::BEGIN, &bytes);
  state_.end = records.empty() ? JournalFile::BEGIN : end_of(records.back());
  const auto first = std::find_if(records.begin(), records.end(),
                                  [&](const auto& record) { return record.id > settled; });
  state_.applied = first == records.end() ? state_.end : first->offset;
  state_.last_id = records.empty() ? settled : std::max(settled, records.back().id);
  state_.growth = LARGEST_GROWTH * (state_.end - state_.applied);
  state_.segments = segments.size();
  ++state_.rounds;
  state_.known = 1;
}

int Journal::look(ArticledbDb* db) {
  const int ret = status_of([&] { bring_up_to_date(db); });
  if (ret != 0) {
    // Parts of it may be there.
    looked_ = false;
    report(db, ret, "read");
  }
  return ret;
}

// As long as the round is the same, nothing is taken from the front of the journal.
void Journal::bring_up_to_date(ArticledbDb* db) {
  learn(db);
  if (!looked_ || looked_changes_ != gate_.changes() || looked_round_ != state_.rounds) {
    looked_ = false;
    const guint64 counter = require_id_counter(db);
    segments_ = segments_behind(counter, read_segment_list(directory_));
    view_.begin(directory_, counter, segments_);
    looked_end_ = state_.applied;
  }
  if (looked_end_ != state_.end) {
    looked_ = false;
    std::string* const bytes = view_.memory().new_bytes();
    add_articles(db, read_records(looked_end_, bytes), &view_);
  }
  looked_ = true;
  looked_changes_ = gate_.changes();
  looked_round_ = state_.rounds;
  looked_end_ = state_.end;
}

// ---- taking articles ----

// Throws what append returns.
void Journal::require_admission(ArticledbDb* db, guint64 growth, guint64* last_id) {
  learn(db);
  *last_id = state_.last_id;
  if (*last_id == 0) {
    const int ret = read_id_counter(db, last_id);
    require(ret == DB_NOTFOUND ? DECLINED : ret);
  }
  const bool has_room = free_bytes() >= ROOM_BYTES + state_.growth + growth;
  require(*last_id != G_MAXUINT64 && has_room ? 0 : DECLINED);
}

int Journal::admits(ArticledbDb* db) {
  guint64 last_id = 0;
  return status_of([&] { require_admission(db, 0, &last_id); });
}

void Journal::write(ArticledbDb* db, guint64 growth, std::string* record, guint64* id) {
  guint64 last_id = 0;
  require_admission(db, growth, &last_id);
  open_file(true);
  if (state_.end + record->size() > MOST_WAITING_BYTES) {
    make_segment(db);
  }
  file_->write(state_.end, last_id + 1, record);
  state_.end += record->size();
  state_.growth += growth;
  state_.last_id = *id = last_id + 1;
}

int Journal::append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) {
  const int ret = status_of([&] { write(db, growth, record, id); });
  tend_merging(db);
  return ret;
}

// In a segment of its own, behind one of what waits in the journal.
int Journal::append_large(ArticledbDb* db, std::string_view url, ArticleEntries* entries,
                          guint64* id) {
  const int ret = status_of([&] {
    guint64 last_id = 0;
    require_admission(db, entries->bytes(), &last_id);
    make_segment(db);
    bring_up_to_date(db);
    for (const guint64 hidden : other_versions(db, url, last_id + 1, view_)) {
      entries->hide(hidden);
    }
    entries->set_only_id(last_id + 1);
    add_segment(entries);
    state_.last_id = *id = last_id + 1;
  });
  tend_merging(db);
  return ret;
}

int Journal::append_removal(ArticledbDb* db, std::string_view url) {
  return status_of([&] {
    bring_up_to_date(db);
    const StoredKey key(url);
    guint64 shown = view_.find_url(key.bytes());
    if (shown == 0) {
      require(find_shown(db, url, &shown));
      require(view_.hides(shown) ? DB_NOTFOUND : 0);
    }
    std::string record(JOURNAL_RECORD_HEADER_BYTES, '\0');
    append_journal_removal(key.bytes(), &record);
    guint64 id = 0;
    write(db, record.size(), &record, &id);
  });
}

// ---- segments ----

// Makes one of the journal's articles; the journal begins anew then.
void Journal::make_segment(ArticledbDb* db) {
  bring_up_to_date(db);
  if (!view_.memory().empty()) {
    ArticleEntries entries;
    view_.memory().write_to(&entries);
    add_segment(&entries);
  }
  begin_anew();
}

// When the view is up to date.
void Journal::add_segment(ArticleEntries* entries) {
  const SegmentRange range = {entries->first_id(), entries->last_id()};
  write_segment(directory_, range.name(), entries);
  SegmentRanges segments = segments_;
  segments.push_back(range);
  publish(segments);
}

// Takes the outcome of a merge, and has the next one done. What fails is tried again with the next
// segment: the parts are as good.
void Journal::tend_merging(ArticledbDb* db) {
  const int ret = status_of([&] {
    if (merger_.is_done()) {
      take_merged(db);
    }
    if (merger_.is_idle() && state_.segments >= MERGED_SEGMENTS &&
        merging_round_ != state_.rounds) {
      merging_round_ = state_.rounds;
      bring_up_to_date(db);
      SegmentRanges parts = choose_merge(directory_, segments_);
      if (!parts.empty()) {
        merger_.start(std::move(parts));
      }
    }
  });
  if (ret != 0 && ret != ECANCELED) {
    report(db, ret, "merged");
  }
}

// The segments may be others by now.
void Journal::take_merged(ArticledbDb* db) {
  const SegmentMerger::Outcome outcome = merger_.take();
  require(outcome.code);
  bring_up_to_date(db);
  SegmentRanges segments = segments_;
  const auto begin =
      std::search(segments.begin(), segments.end(), outcome.parts.begin(), outcome.parts.end());
  if (begin != segments.end()) {
    Segment::open(std::string(directory_) + "/" + outcome.merged.name());
    *begin = outcome.merged;
    segments.erase(begin + 1, begin + static_cast<std::ptrdiff_t>(outcome.parts.size()));
    publish(segments);
  }
  for (const SegmentRange& part : outcome.parts) {
    remove_unlisted(directory_, segments, part);
  }
  remove_unlisted(directory_, segments, outcome.merged);
}

// ---- leaving ----

void Journal::end_work(ArticledbDb* db) {
  if (!merger_.is_done()) {
    merger_.give_up();
  }
  if (!merger_.is_idle()) {
    const int ret = status_of([&] { take_merged(db); });
    if (ret != 0 && ret != ECANCELED) {
      report(db, ret, "merged");
    }
  }
}

// Many who write little would leave many segments behind.
int Journal::set_aside(ArticledbDb* db) {
  const int ret = status_of([&] {
    bring_up_to_date(db);
    if (state_.applied != state_.end) {
      make_segment(db);
      bring_up_to_date(db);
    }
    SegmentRanges parts = choose_merge(directory_, segments_);
    if (!parts.empty() && (bytes_of(directory_, parts) <= QUICKLY_MERGED_BYTES ||
                           segments_.size() >= MOST_SEGMENTS)) {
      merger_.start(std::move(parts));
      take_merged(db);
    }
  });
  if (ret != 0) {
    looked_ = false;
    report(db, ret, "made a segment");
  }
  return ret;
}

int Journal::remove_journal() {
  file_.reset();
  const guint64 rounds = state_.rounds;
  state_ = {};
  state_.rounds = rounds + 1;
  return status_of([this] { JournalFile::remove(directory_); });
}

}  // namespace ostren::fenra::store
