#include "store/backup/store_copy.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "store/backup/complaint.h"
#include "store/layout/store_files.h"
#include "store/waiting/segment_list.h"

namespace ostren::fenra::store {
namespace {

// How often the journal is copied that begins anew meanwhile, and a block is read that is
// being written.
constexpr int MOST_COPIES = 20;
constexpr int MOST_READS = 1000;

// The bytes that tell one round of the journal from the next: the file's header and that of
// its first record.
constexpr size_t ROUND_BYTES = 32;

constexpr char REMEDY[] = "; try again when less is written to the store";

// What those who have the store open have of it, and what is copied on its own.
bool is_other(const std::string& name) {
  return name != DATABASE_FILE && name != JOURNAL_FILE && name != GATE_FILE && name != ROOM_FILE &&
         !has_prefix(name, SEGMENTS_FILE) && !is_segment_name(name) && !is_log_name(name) &&
         !is_region_name(name);
}

}  // namespace

StoreCopy::StoreCopy(std::string from, std::string to, WorkMeter* meter)
    : from_(std::move(from)), to_(std::move(to)), meter_(*meter) {
  directory_ = complaining("cannot read the directory '" + from_ + "'",
                           [this] { return open_to_read(from_, O_DIRECTORY); });
}

// None where there is none.
Descriptor StoreCopy::open_source(const std::string& name) const {
  return complaining("cannot read '" + source(name) + "'",
                     [&] { return open_regular(directory_.get(), name); });
}

void StoreCopy::copy_databases() {
  open_logs();
  const Descriptor database = open_source(DATABASE_FILE);
  if (!database) {
    throw Complaint(ENOENT, "'" + from_ + "' is not a store: it has no file " + DATABASE_FILE);
  }
  total_ = file_size(database.get());
  copy(database, DATABASE_FILE);
  int tries = 0;
  std::string round;
  do {
    if (++tries > MOST_COPIES) {
      throw Complaint(EAGAIN, "the journal of '" + from_ + "' begins anew too often" + REMEDY);
    }
    round = waiting_round();
    copy_logs();
    copy_or_remove(JOURNAL_FILE);
    copy_or_remove(SEGMENTS_FILE);
  } while (!open_segments() || waiting_round() != round);
  for (const auto& [name, segment] : segments_) {
    total_ += file_size(segment.get());
  }
  for (const auto& [name, segment] : segments_) {
    copy(segment, name);
  }
}

void StoreCopy::copy_other_files() {
  for (const std::string& name : names_in(directory_.get())) {
    struct stat status = {};
    if (!is_other(name) ||
        fstatat(directory_.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        !S_ISREG(status.st_mode)) {
      continue;
    }
    // One that has been removed since is one of somebody who replaces a file.
    const Descriptor file = open_source(name);
    if (file) {
      total_ += file_size(file.get());
      copy(file, name);
    }
  }
  require_same_store();
}

// Compaction puts another directory into the place, and removes what is in this one.
void StoreCopy::require_same_store() const {
  struct stat opened = {};
  struct stat named = {};
  if (fstat(directory_.get(), &opened) != 0 || stat(from_.c_str(), &named) != 0 ||
      opened.st_ino != named.st_ino || opened.st_dev != named.st_dev) {
    throw Complaint(EAGAIN, "another store has come to '" + from_ + "'; try again");
  }
}

void StoreCopy::copy_logs() {
  open_logs();
  for (const auto& [name, log] : logs_) {
    total_ += file_size(log.get());
  }
  for (const auto& [name, log] : logs_) {
    copy(log, name);
  }
}

// Another one when the journal has begun anew, or there are other segments.
std::string StoreCopy::waiting_round() const {
  std::string bytes(ROUND_BYTES, '\0');
  const Descriptor journal = open_source(JOURNAL_FILE);
  bytes.resize(journal ? read_whole(journal.get(), bytes.data(), bytes.size(), 0) : 0);
  struct stat status = {};
  if (fstatat(directory_.get(), SEGMENTS_FILE, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    bytes += "|" + std::to_string(status.st_ino) + "|" + std::to_string(status.st_mtim.tv_sec) +
             "|" + std::to_string(status.st_mtim.tv_nsec);
  }
  return bytes;
}

// Opens the segments of the copied list: open files outlive their removal. False when one is gone.
bool StoreCopy::open_segments() {
  segments_.clear();
  const SegmentRanges ranges = complaining("cannot read '" + source(SEGMENTS_FILE) + "'",
                                           [this] { return read_segment_list(to_); });
  for (const SegmentRange& range : ranges) {
    Descriptor segment = open_source(range.name());
    if (!segment) {
      return false;
    }
    segments_.emplace(range.name(), std::move(segment));
  }
  return true;
}

void StoreCopy::copy_or_remove(const std::string& name) {
  const Descriptor file = open_source(name);
  if (file) {
    copy(file, name);
  } else {
    unlink((to_ + "/" + name).c_str());
  }
}

void StoreCopy::open_logs() {
  for (const std::string& name : names_in(directory_.get())) {
    if (!is_log_name(name) || logs_.count(name) != 0) {
      continue;
    }
    Descriptor log = open_source(name);
    // One that has been removed since the directory was read is not needed either: what
    // it tells was in the database file before its copying began.
    if (log) {
      logs_.emplace(name, std::move(log));
    } else if (copying_) {
      throw Complaint(EAGAIN,
                      "'" + source(name) + "' has been removed before it was read" + REMEDY);
    }
  }
  require_whole_log();
  copying_ = true;
}

void StoreCopy::require_whole_log() const {
  guint64 before = 0;
  for (const auto& [name, log] : logs_) {
    const guint64 number = log_number(name);
    if (before != 0 && number != before + 1) {
      throw Complaint(EAGAIN, "the log of '" + from_ + "' lacks the file after number " +
                                  std::to_string(before) + REMEDY);
    }
    before = number;
  }
}

// Copies a file from its beginning, over an earlier copy.
void StoreCopy::copy(const Descriptor& from, const std::string& name) {
  const std::string path = to_ + "/" + name;
  const std::string failure = "cannot write '" + path + "'";
  const Descriptor to = complaining(failure, [&path] {
    constexpr mode_t MODE = 0600;
    return Descriptor(require_call(
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, MODE)));
  });
  guint64 at = 0;
  for (size_t count; (count = read_block(from, at, name)) != 0; at += count) {
    complaining(failure, [&] { write_whole(to.get(), block_->data(), count, at); });
    open_logs();
    meter_.set_total(total_);
    meter_.advance(count);
  }
}

// Reads a block into `block_`; its length, which is 0 at the end of the file. A page that
// is written while it is read may come half old, half new: what is taken is what two
// readings agree on.
size_t StoreCopy::read_block(const Descriptor& from, guint64 at, const std::string& name) {
  return complaining("cannot read '" + source(name) + "'", [&] {
    for (int reads = 0; reads < MOST_READS; ++reads) {
      const size_t count = read_whole(from.get(), block_->data(), BLOCK_BYTES, at);
      const size_t count_again = read_whole(from.get(), again_->data(), BLOCK_BYTES, at);
      const size_t both = std::min(count, count_again);
      if (memcmp(block_->data(), again_->data(), both) == 0) {
        return both;
      }
    }
    throw Complaint(EAGAIN, "'" + source(name) + "' changes too fast to be copied" + REMEDY);
  });
}

}  // namespace ostren::fenra::store
