#include "cli/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

// How often the journal is copied that begins anew meanwhile, and a block is read that is
// being written.
using ostren::fenra::store::JOURNAL_FILE;
using ostren::fenra::store::log_number;

constexpr int kMostCopies = 20;
constexpr int kMostReads = 1000;

// A multiple of the page size.
constexpr size_t kBlock = 64 << 10;

using Block = std::array<char, kBlock>;

// Of a regular file; what else is in its place is not waited for.
class Descriptor {
 public:
  Descriptor(const std::string& path, int flags)
      : fd_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600)) {
    struct stat status = {};
    if (fd_ != -1 && (fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode))) {
      close(fd_);
      fd_ = -1;
      errno = EINVAL;
    }
  }
  Descriptor(Descriptor&& other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
  ~Descriptor() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&&) = delete;

  int get() const { return fd_; }

  uint64_t size() const {
    struct stat status = {};
    return fstat(fd_, &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
  }

 private:
  int fd_;
};

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw Failure("cannot " + what + " '" + path + "': " + std::strerror(errno));
}

void write_all(const Descriptor& to, const char* bytes, size_t length, const std::string& path) {
  while (length > 0) {
    const ssize_t count = write(to.get(), bytes, length);
    if (count < 0) {
      fail("write", path);
    }
    bytes += count;
    length -= static_cast<size_t>(count);
  }
}

std::string megabytes(uint64_t bytes) { return std::to_string(bytes >> 20) + " MiB"; }

// Copies one store. Log files are removed by the store's users once the database file
// has what they tell; the copy of it may be older. An open file outlives its removal, so
// every log file is opened before that can happen to it: at the beginning and, those
// that come later, between any two blocks.
//
// What the log tells may end in the middle of articles that are being written from the
// journal to the databases: the journal has to have all of them, so it is copied after the
// log. It has them unless it has begun anew in the meantime; then both are copied once more.
class Copier {
 public:
  Copier(std::string from, std::string to, StatusLine& line)
      : from_(std::move(from)),
        to_(std::move(to)),
        line_(line),
        block_(std::make_unique<Block>()),
        again_(std::make_unique<Block>()) {}

  void run() {
    open_logs();
    const Descriptor database = open_source(DATABASE_FILE);
    total_ = database.size();
    copy(database, DATABASE_FILE);
    int tries = 0;
    std::string round;
    do {
      if (++tries > kMostCopies) {
        throw Failure("the journal of '" + from_ +
                      "' begins anew too often; try again when less is written to the store");
      }
      round = journal_round();
      copy_logs();
      copy_journal();
    } while (journal_round() != round);
  }

 private:
  Descriptor open_source(const std::string& name) const {
    const std::string path = from_ + "/" + name;
    Descriptor file(path, O_RDONLY);
    if (file.get() == -1) {
      fail("read", path);
    }
    return file;
  }

  void copy_logs() {
    open_logs();
    for (const auto& [name, log] : logs_) {
      total_ += log.size();
    }
    for (const auto& [name, log] : logs_) {
      copy(log, name);
    }
  }

  // The journal's file header and the header of its first record.
  std::string journal_round() const {
    std::string bytes(32, '\0');
    const Descriptor journal(from_ + "/" + JOURNAL_FILE, O_RDONLY);
    const ssize_t count =
        journal.get() == -1 ? 0 : pread(journal.get(), bytes.data(), bytes.size(), 0);
    bytes.resize(static_cast<size_t>(std::max(count, ssize_t{0})));
    return bytes;
  }

  void copy_journal() {
    const Descriptor journal(from_ + "/" + JOURNAL_FILE, O_RDONLY);
    if (journal.get() != -1) {
      copy(journal, JOURNAL_FILE);
    } else if (errno == ENOENT) {
      unlink((to_ + "/" + JOURNAL_FILE).c_str());
    } else {
      fail("read", from_ + "/" + JOURNAL_FILE);
    }
  }

  void open_logs() {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(from_, error)) {
      const std::string name = entry.path().filename();
      if (!is_log_name(name) || logs_.count(name) != 0) {
        continue;
      }
      Descriptor log(entry.path(), O_RDONLY);
      // One that has been removed since the directory was read is not needed either: what
      // it tells was in the database file before its copying began.
      if (log.get() != -1) {
        logs_.emplace(name, std::move(log));
      } else if (errno != ENOENT || copying_) {
        fail("read", entry.path());
      }
    }
    if (error) {
      throw Failure("cannot read the directory '" + from_ + "': " + error.message());
    }
    require_whole_log();
    copying_ = true;
  }

  void require_whole_log() const {
    uint64_t before = 0;
    for (const auto& [name, log] : logs_) {
      const uint64_t number = log_number(name);
      if (before != 0 && number != before + 1) {
        throw Failure("the log of '" + from_ + "' lacks the file after number " +
                      std::to_string(before) + "; try again when less is written to the store");
      }
      before = number;
    }
  }

  // Copies a file from its beginning, over an earlier copy.
  void copy(const Descriptor& from, const std::string& name) {
    const std::string path = to_ + "/" + name;
    const Descriptor to(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (to.get() == -1) {
      fail("write", path);
    }
    off_t at = 0;
    for (size_t count; (count = read_block(from, at, name)) != 0;) {
      write_all(to, block_->data(), count, path);
      at += static_cast<off_t>(count);
      done_ += count;
      open_logs();
      line_.show([this](int) {
        return "copying: " + megabytes(done_) + " of " + megabytes(std::max(done_, total_));
      });
    }
  }

  // Reads a block into `block_`; its length, which is 0 at the end of the file. A page that
  // is written while it is read may come half old, half new: what is taken is what two
  // readings agree on.
  size_t read_block(const Descriptor& from, off_t at, const std::string& name) {
    for (int reads = 0; reads < kMostReads; ++reads) {
      const ssize_t count = pread(from.get(), block_->data(), kBlock, at);
      const ssize_t count_again = pread(from.get(), again_->data(), kBlock, at);
      if (count < 0 || count_again < 0) {
        fail("read", from_ + "/" + name);
      }
      const auto both = static_cast<size_t>(std::min(count, count_again));
      if (std::memcmp(block_->data(), again_->data(), both) == 0) {
        return both;
      }
    }
    throw Failure("'" + from_ + "/" + name +
                  "' changes too fast to be copied; try again when less is written to the store");
  }

  const std::string from_;
  const std::string to_;
  StatusLine& line_;
  const std::unique_ptr<Block> block_;
  const std::unique_ptr<Block> again_;
  std::map<std::string, Descriptor> logs_;
  bool copying_ = false;
  uint64_t done_ = 0;
  uint64_t total_ = 0;
};

void close_environment(DB_ENV* env) { env->close(env, 0); }

void ignore_message(const DB_ENV*, const char*, const char*) {}

// The file may have been copied at any distance behind its log, so recovery starts
// at the log's beginning and not at the last checkpoint.
void replay_log(const std::string& path) {
  constexpr u_int32_t kCacheBytes = 64 << 20;
  DB_ENV* made = nullptr;
  int status = db_env_create(&made, 0);
  const std::unique_ptr<DB_ENV, Releaser<close_environment>> env(made);
  if (status == 0) {
    made->set_errcall(made, ignore_message);
    made->set_cachesize(made, 0, kCacheBytes, 1);
    status = made->open(made, path.c_str(),
                        DB_CREATE | DB_PRIVATE | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL |
                            DB_INIT_TXN | DB_RECOVER_FATAL,
                        0);
  }
  if (status != 0) {
    throw Failure("cannot replay the log of the store: " + status_text(status));
  }
}

std::string make_directory() {
  std::string path = std::string(g_get_tmp_dir()) + "/fenra_verify_XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    fail("make the directory", path);
  }
  return path;
}

void remove_directory(const std::string& path) {
  std::error_code ignored;
  fs::remove_all(path, ignored);
}

}  // namespace

Snapshot::Snapshot(const std::string& store, StatusLine& line) {
  require_store(store);
  path_ = make_directory();
  try {
    Copier(store, path_, line).run();
    replay_log(path_);
  } catch (...) {
    remove_directory(path_);
    throw;
  }
}

Snapshot::~Snapshot() { remove_directory(path_); }

}  // namespace cli
