#include "store/process/read_only_store.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <vector>

#include "base/failed.h"
#include "store/articledb.h"
#include "store/layout/schema.h"
#include "store/layout/store_files.h"
#include "store/process/directory_lock.h"
#include "store/process/log_end.h"

namespace ostren::fenra::store {
namespace {

using State = GateFile::Report::State;

// Thrown: a failure and what to tell of it.
struct Refusal {
  int code;
  std::string text;
};

// Whether the file begins as a database file of this library does. Others Berkeley DB may ask
// for a password, or convert.
bool is_database(int fd) {
  // On disk, behind a log position and the page's number: the list of databases is a tree.
  struct Meta {
    guint32 magic;
    guint32 version;
    guint32 page_bytes;
    guint8 encryption;
    guint8 type;
    guint8 flags;  // of checksums and partitions
  };
  constexpr guint64 META_OFFSET = 12;
  constexpr guint32 TREE_MAGIC = 0x053162;
  Meta meta = {};
  return read_whole(fd, &meta, sizeof meta, META_OFFSET) == sizeof meta &&
         meta.magic == TREE_MAGIC && meta.page_bytes == PAGE_BYTES && meta.encryption == 0 &&
         meta.flags == 0;
}

bool has_name(int directory, const char* name) {
  struct stat status = {};
  return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

ReadOnlyStore::ReadOnlyStore(const std::string& directory)
    : path_(directory),
      directory_(open_to_read(directory, O_DIRECTORY)),
      database_(open_file(DATABASE_FILE)),
      gate_(open_file(GATE_FILE)),
      mark_(mark_of_open_file(database_.get())),
      segments_(mark_of_file(directory_.get(), SEGMENTS_FILE)),
      report_(gate_ ? GateFile::report(gate_.get()) : GateFile::Report{}) {
  if (!database_) {
    throw Refusal{ENOENT, path_ + " is not a store: it has no file " + DATABASE_FILE};
  }
  if (mark_.size % PAGE_BYTES != 0 || !is_database(database_.get())) {
    throw Refusal{EINVAL, path_ + "/" + DATABASE_FILE + ": its " + std::to_string(mark_.size) +
                              " bytes are no databases, or damaged; put a backup into the store's "
                              "place"};
  }
  require_order();
}

// None where there is none.
Descriptor ReadOnlyStore::open_file(const std::string& name) const {
  try {
    return open_regular(directory_.get(), name);
  } catch (const Failed& failed) {
    const std::string remedy =
        failed.code == EACCES
            ? "; have its owner let you read the store, with: chmod -R a+rX " + path_
        : failed.code == EINVAL ? "; it is no regular file: have it removed"
                                : "";
    throw Refusal{failed.code, path_ + "/" + name + ": " + g_strerror(failed.code) + remedy};
  }
}

// Whether the log of a store that nobody has open tells that it was closed in order.
bool ReadOnlyStore::has_closed_log() const {
  const std::vector<guint32> logs = log_numbers(path_);
  for (const guint32 number : logs) {
    open_file(log_name(number));
  }
  bool closed = logs.empty();
  if (!closed) {
    status_of([&] { closed = log_ends_in_order(path_.c_str()); });
  }
  return closed;
}

void ReadOnlyStore::require_order() const {
  const bool present = directory_has_handles(directory_.get());
  const bool waiting = has_name(directory_.get(), JOURNAL_FILE);
  const bool closed = report_.state == State::CLOSED && report_.files == read_files_mark(path_) &&
                      GateFile::is_of_this_run(gate_.get());
  const bool open_in_order = present && report_.state == State::UNCHANGED;
  const bool foreign = GateFile::has_foreign_segments(path_.c_str());
  if (!waiting && !foreign && (closed || open_in_order || (!present && has_closed_log()))) {
    return;
  }
  const std::string copy = "make a copy and read that, with: fenra backup " + path_ + " DIR";
  if (present) {
    throw Refusal{STATUS_NOT_IN_ORDER, path_ +
                                           ": somebody has it open and has written to it; wait "
                                           "until it is closed, or " +
                                           copy};
  }
  struct stat status = {};
  require_call(fstat(directory_.get(), &status));
  throw Refusal{STATUS_NOT_IN_ORDER,
                path_ +
                    ": it was not closed in order, and has to be recovered by who may write to "
                    "it; have user " +
                    std::to_string(status.st_uid) + " open it once, with: fenra tune " + path_ +
                    "; or " + copy};
}

int ReadOnlyStore::open(const std::string& directory, std::unique_ptr<ReadOnlyStore>* store,
                        gchar** complaint) {
  *complaint = nullptr;
  try {
    store->reset(new ReadOnlyStore(directory));
    return 0;
  } catch (const Refusal& refusal) {
    *complaint = g_strdup(refusal.text.c_str());
    return refusal.code;
  } catch (const Failed& failed) {
    *complaint = g_strdup_printf("%s: %s", directory.c_str(), g_strerror(failed.code));
    return failed.code;
  } catch (const std::exception&) {
    return ENOMEM;
  }
}

bool ReadOnlyStore::is_gate_unchanged() const {
  if (!gate_) {
    return true;
  }
  const GateFile::Report now = GateFile::report(gate_.get());
  switch (now.state) {
    case State::NOTHING:  // somebody is opening the store; the database file tells
    case State::UNCHANGED:
      return true;
    case State::CLOSED:
      // A copy has the mark of what it was copied from.
      return now.files.database == mark_ ||
             (report_.state == State::CLOSED && now.files.database == report_.files.database);
    default:
      // Who has written to it is gone, and nobody has come since.
      return now.state == report_.state && now.generation == report_.generation &&
             now.changes == report_.changes;
  }
}

bool ReadOnlyStore::is_unchanged() {
  changed_ = changed_ || !(mark_of_open_file(database_.get()) == mark_) ||
             !(mark_of_file(directory_.get(), SEGMENTS_FILE) == segments_) || !is_gate_unchanged();
  return !changed_;
}

bool ReadOnlyStore::is_in_place() const { return read_files_mark(path_).database == mark_; }

}  // namespace ostren::fenra::store
