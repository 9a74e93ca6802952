#include "cli/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>
#include <vector>

#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr char kJournalFile[] = "fenra.journal";

// A multiple of the page size: a page is read in one piece.
constexpr size_t kBlock = 1 << 20;

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags)
      : fd_(open(path.c_str(), flags | O_CLOEXEC, 0600)) {}
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
// that come later, between any two blocks. The journal is copied before all: what is written
// over in it is in the log by then.
class Copier {
 public:
  Copier(std::string from, std::string to, StatusLine& line)
      : from_(std::move(from)), to_(std::move(to)), line_(line), buffer_(kBlock) {}

  void run() {
    copy_journal();
    open_logs();
    const Descriptor database = open_source(kDatabaseFile);
    total_ = database.size();
    copy(database, kDatabaseFile, [this] { open_logs(); });
    open_logs();
    for (const auto& [name, log] : logs_) {
      total_ += log.size();
    }
    for (const auto& [name, log] : logs_) {
      copy(log, name, [this] { open_logs(); });
    }
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

  void copy_journal() {
    const Descriptor journal(from_ + "/" + kJournalFile, O_RDONLY);
    if (journal.get() != -1) {
      copy(journal, kJournalFile, [] {});
    } else if (errno != ENOENT) {
      fail("read", from_ + "/" + kJournalFile);
    }
  }

  void open_logs() {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(from_, error)) {
      const std::string name = entry.path().filename();
      if (!is_log_file(name) || logs_.count(name) != 0) {
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
      const uint64_t number = std::strtoull(name.c_str() + std::strlen("log."), nullptr, 10);
      if (before != 0 && number != before + 1) {
        throw Failure("the log of '" + from_ + "' lacks the file after number " +
                      std::to_string(before) + "; try again when less is written to the store");
      }
      before = number;
    }
  }

  // Calls `after_block` between any two blocks.
  template <typename Call>
  void copy(const Descriptor& from, const std::string& name, Call after_block) {
    const std::string path = to_ + "/" + name;
    const Descriptor to(path, O_WRONLY | O_CREAT | O_EXCL);
    if (to.get() == -1) {
      fail("write", path);
    }
    for (ssize_t count; (count = read(from.get(), buffer_.data(), buffer_.size())) != 0;) {
      if (count < 0) {
        fail("read", from_ + "/" + name);
      }
      write_all(to, buffer_.data(), static_cast<size_t>(count), path);
      done_ += static_cast<uint64_t>(count);
      after_block();
      line_.show([this](int) {
        return "copying: " + megabytes(done_) + " of " + megabytes(std::max(done_, total_));
      });
    }
  }

  const std::string from_;
  const std::string to_;
  StatusLine& line_;
  std::vector<char> buffer_;
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
