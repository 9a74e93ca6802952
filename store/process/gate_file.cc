#include "store/process/gate_file.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "base/failed.h"
#include "base/file.h"
#include "store/layout/store_files.h"
#include "store/process/files_mark.h"
#include "store/process/ownership.h"

namespace ostren::fenra::store {
namespace {

constexpr char MAGIC[8] = {'f', 'e', 'n', 'r', 'a', 'g', 't', '\0'};  // on disk
constexpr guint32 VERSION = 6;                                        // on disk
constexpr size_t FILE_BYTES = 4096;                                   // on disk
constexpr size_t BOOT_ID_BYTES = 40;                                  // on disk

// On disk: of the holder of the lock. The other bits are its place plus 1, or 0.
constexpr guint32 WAITED_FOR = guint32{1} << 31;

// How long a dead holder may go unnoticed.
constexpr timespec WAIT = {0, 20000000};

// The gate that the thread has entered last and not left.
thread_local const GateFile* innermost = nullptr;

int open_file(const char* directory, int flags) {
  return open_own_file(directory, GATE_FILE, flags, 0600);
}

// The kernel's name of the run since the machine was started, or zero bytes. A
// clean mark of another run may be on disk while what it speaks of is not.
void read_boot_id(char* id) {
  memset(id, 0, BOOT_ID_BYTES);
  const Descriptor file(::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
  if (!file || read(file.get(), id, BOOT_ID_BYTES - 1) <= 0) {
    memset(id, 0, BOOT_ID_BYTES);
  }
}

}  // namespace

// On disk. Zero bytes follow up to FILE_BYTES.
struct GateFile::Layout {
  char magic[sizeof MAGIC];
  guint32 version;
  guint32 recovered;  // 1: the environment has been recovered since the store was opened
  guint64 generation;
  guint32 needs_recovery;
  guint32 clean;
  guint32 complete;
  guint32 configuration;
  char boot_id[BOOT_ID_BYTES];  // of the clean mark
  alignas(64) std::atomic<guint32> holder;
  alignas(64) guint8 occupied[PLACES];
  alignas(64) std::atomic<guint64> changes;
  std::atomic<guint64> additions;
  JournalState journal;
  guint32 cursors;
  guint64 replacements;
  FilesMark files;  // of the clean mark

  bool readable() const { return memcmp(magic, MAGIC, sizeof MAGIC) == 0 && version == VERSION; }
};

int GateFile::map(const char* directory, int fd, std::unique_ptr<GateFile>* file) {
  void* address = mmap(nullptr, FILE_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (address == MAP_FAILED) {
    return errno;
  }
  file->reset(new (std::nothrow) GateFile(directory, static_cast<Layout*>(address)));
  struct stat status = {};
  if (*file != nullptr && fstat(fd, &status) == 0) {
    (*file)->device_ = status.st_dev;
    (*file)->inode_ = status.st_ino;
  }
  if (*file == nullptr) {
    munmap(address, FILE_BYTES);
    return ENOMEM;
  }
  return 0;
}

// False for what is not a gate file of this version.
bool GateFile::read(int fd, Layout* layout) {
  return pread(fd, static_cast<void*>(layout), sizeof *layout, 0) ==
             static_cast<ssize_t>(sizeof *layout) &&
         layout->readable();
}

bool GateFile::read(const char* directory, Layout* layout) {
  const Descriptor found(open_file(directory, O_RDONLY));
  return found && read(found.get(), layout);
}

int GateFile::open(const char* directory, bool first, guint32 configuration,
                   std::unique_ptr<GateFile>* file) {
  static_assert(sizeof(Layout) <= FILE_BYTES, "the file holds the layout");
  static_assert(std::atomic<guint64>::is_always_lock_free, "processes share the number");
  // Who is not the first must not make a file: it would be another one than that of
  // the others.
  const Descriptor opened(open_file(directory, first ? O_RDWR | O_CREAT : O_RDWR));
  if (!opened) {
    return errno;
  }
  alignas(Layout) char bytes[FILE_BYTES] = {};
  const ssize_t length = pread(opened.get(), bytes, sizeof bytes, 0);
  const auto& found = *reinterpret_cast<const Layout*>(bytes);
  const bool readable = length == static_cast<ssize_t>(sizeof bytes) && found.readable();
  if (!first) {
    return readable ? map(directory, opened.get(), file) : EPROTO;
  }
  // Written out rather than only extended: a full disk must show here and not as a
  // signal at the first touch.
  alignas(Layout) const char nothing[FILE_BYTES] = {};
  int ret = 0;
  if (length != static_cast<ssize_t>(sizeof bytes)) {
    ret = status_of([&] { write_whole(opened.get(), nothing, sizeof nothing, 0); });
  }
  if (ret == 0) {
    ret = map(directory, opened.get(), file);
  }
  if (ret == 0) {
    (*file)->initialise(readable ? found : *reinterpret_cast<const Layout*>(nothing),
                        configuration);
  }
  return ret;
}

void GateFile::initialise(const Layout& found, guint32 configuration) {
  char boot_id[BOOT_ID_BYTES];
  read_boot_id(boot_id);
  was_clean_ = found.clean == 1 && found.needs_recovery == 0 && boot_id[0] != '\0' &&
               memcmp(boot_id, found.boot_id, sizeof boot_id) == 0 &&
               found.configuration == configuration && found.files == read_files_mark(directory_);
  const guint32 complete = found.complete;
  // A process that is killed in here leaves a file that the next one does not take
  // for clean: that mark goes first.
  layout_->clean = 0;
  memset(static_cast<void*>(layout_), 0, sizeof *layout_);
  layout_->generation = 1;
  layout_->needs_recovery = was_clean_ ? 0 : 1;
  layout_->complete = complete;
  layout_->configuration = configuration;
  layout_->version = VERSION;
  memcpy(layout_->magic, MAGIC, sizeof MAGIC);
}

GateFile::Origin GateFile::origin(const char* directory) {
  Layout found = {};
  const FilesMark present = read_files_mark(directory);
  if (!read(directory, &found)) {
    return Origin::COPY;
  }
  if (found.clean != 1 || found.files == present) {
    return Origin::HERE;
  }
  return found.files.directory_inode == present.directory_inode ? Origin::PUT_OVER : Origin::COPY;
}

bool GateFile::has_foreign_segments(const char* directory) {
  Layout found = {};
  const FilesMark present = read_files_mark(directory);
  return read(directory, &found) && found.clean == 1 && present.segments.inode != 0 &&
         found.files.directory_inode == present.directory_inode &&
         found.files.segments == present.segments && !(found.files.database == present.database);
}

GateFile::Report GateFile::report(int fd) {
  Layout found = {};
  if (!read(fd, &found)) {
    return {};
  }
  const guint64 changes = found.changes + found.additions;
  const bool unchanged = found.needs_recovery == 0 && found.recovered == 0 && changes == 0;
  Report report = {};
  report.state = found.clean == 1 && found.needs_recovery == 0 ? Report::State::CLOSED
                 : unchanged                                   ? Report::State::UNCHANGED
                                                               : Report::State::CHANGED;
  report.generation = found.generation;
  report.changes = changes;
  report.files = found.files;
  return report;
}

bool GateFile::is_of_this_run(int fd) {
  Layout found = {};
  char boot_id[BOOT_ID_BYTES];
  read_boot_id(boot_id);
  return read(fd, &found) && boot_id[0] != '\0' &&
         memcmp(boot_id, found.boot_id, sizeof boot_id) == 0;
}

GateFile::~GateFile() { munmap(layout_, FILE_BYTES); }

bool GateFile::says_complete(const char* directory) {
  Layout found = {};
  return read(directory, &found) && found.complete == 1;
}

// ---- the lock ----

// A place is a better name of the holder than the number of its thread, which is another one
// in each namespace, and may be given again: the kernel knows who is present in it.
int GateFile::lock(const ArticledbDirectoryLock* directory, int place) {
  for (const GateFile* entered = innermost; entered != nullptr; entered = entered->outer_) {
    if (entered->inode_ == inode_ && entered->device_ == device_) {
      return EDEADLK;
    }
  }
  const guint32 mine = static_cast<guint32>(place) + 1;
  guint32 free = 0;
  if (!layout_->holder.compare_exchange_strong(free, mine)) {
    wait_for_lock(directory, mine);
  }
  outer_ = innermost;
  innermost = this;
  return 0;
}

// Whoever has waited takes the lock as one that is waited for: others may wait still.
void GateFile::wait_for_lock(const ArticledbDirectoryLock* directory, guint32 mine) {
  std::atomic<guint32>& holder = layout_->holder;
  for (;;) {
    guint32 seen = 0;
    if (holder.compare_exchange_strong(seen, mine | WAITED_FOR)) {
      return;
    }
    if ((seen & WAITED_FOR) == 0 && !holder.compare_exchange_strong(seen, seen | WAITED_FOR)) {
      continue;
    }
    seen |= WAITED_FOR;
    const long ret = syscall(SYS_futex, &holder, FUTEX_WAIT, seen, &WAIT, nullptr, 0);
    // Signals may come more often than the time is over.
    const bool in_vain = ret == -1 && errno != EAGAIN;
    const auto place = static_cast<int>(seen & ~WAITED_FOR) - 1;
    if (in_vain && (place >= PLACES || !directory_lock_is_taken(directory, place)) &&
        holder.compare_exchange_strong(seen, mine | WAITED_FOR)) {
      require_recovery();
      return;
    }
  }
}

void GateFile::unlock() {
  innermost = outer_;
  if ((layout_->holder.exchange(0) & WAITED_FOR) != 0) {
    syscall(SYS_futex, &layout_->holder, FUTEX_WAKE, 1, nullptr, nullptr, 0);
  }
}

bool GateFile::is_locked_by_thread() const {
  const GateFile* entered = innermost;
  while (entered != nullptr && entered != this) {
    entered = entered->outer_;
  }
  return entered == this;
}

guint64 GateFile::generation() const { return layout_->generation; }

void GateFile::require_recovery() {
  layout_->needs_recovery = 1;
  ++layout_->generation;
  count_change();
  count_replacement();
}

bool GateFile::needs_recovery() const { return layout_->needs_recovery != 0; }

guint64 GateFile::changes() const { return layout_->changes.load(std::memory_order_acquire); }

void GateFile::count_change() { layout_->changes.fetch_add(1); }

guint64 GateFile::additions() const { return layout_->additions.load(std::memory_order_acquire); }

void GateFile::count_addition() { layout_->additions.fetch_add(1); }

guint64 GateFile::replacements() const { return layout_->replacements; }

void GateFile::count_replacement() { ++layout_->replacements; }

void GateFile::note_recovery() {
  layout_->needs_recovery = 0;
  layout_->recovered = 1;
  layout_->journal.known = 0;
  layout_->cursors = 0;
}

GateFile::JournalState* GateFile::journal() { return &layout_->journal; }

guint32 GateFile::cursors() const { return layout_->cursors; }

void GateFile::set_cursors(guint32 cursors) { layout_->cursors = cursors; }

void GateFile::set_configuration(guint32 configuration) { layout_->configuration = configuration; }

void GateFile::set_clean() {
  read_boot_id(layout_->boot_id);
  layout_->files = read_files_mark(directory_);
  layout_->clean = 1;
}

bool GateFile::unchanged() const {
  return layout_->recovered == 0 && layout_->needs_recovery == 0 && changes() + additions() == 0;
}

void GateFile::set_complete() { layout_->complete = 1; }

bool GateFile::occupied(int place) const { return layout_->occupied[place] != 0; }

void GateFile::set_occupied(int place, bool occupied) {
  layout_->occupied[place] = occupied ? 1 : 0;
}

}  // namespace ostren::fenra::store
