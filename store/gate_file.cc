#include "store/gate_file.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace ostren {
namespace fenra {
namespace store {
namespace {

constexpr char FILE_NAME[] = "fenra.gate";                            // on disk
constexpr char MAGIC[8] = {'f', 'e', 'n', 'r', 'a', 'g', 't', '\0'};  // on disk
constexpr guint32 VERSION = 3;                                        // on disk
constexpr size_t FILE_BYTES = 4096;                                   // on disk
constexpr size_t BOOT_ID_BYTES = 40;                                  // on disk

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  operator int() const { return fd_; }

 private:
  const int fd_;
};

int open_file(const char* directory, int flags) {
  gchar* name = g_build_filename(directory, FILE_NAME, nullptr);
  const int fd = ::open(name, flags | O_CLOEXEC, 0600);
  const int error = errno;
  g_free(name);
  errno = error;
  return fd;
}

// The kernel's name of the run since the machine was started, or zero bytes. A
// clean mark of another run may be on disk while what it speaks of is not.
void read_boot_id(char* id) {
  memset(id, 0, BOOT_ID_BYTES);
  const Descriptor file(::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
  if (file == -1 || read(file, id, BOOT_ID_BYTES - 1) <= 0) {
    memset(id, 0, BOOT_ID_BYTES);
  }
}

int write_whole(int fd, const void* bytes) {
  const ssize_t written = pwrite(fd, bytes, FILE_BYTES, 0);
  return written == static_cast<ssize_t>(FILE_BYTES) ? 0 : written == -1 ? errno : ENOSPC;
}

}  // namespace

// On disk. Zero bytes follow up to FILE_BYTES.
struct GateFile::Layout {
  char magic[sizeof MAGIC];
  guint32 version;
  guint32 mutex_bytes;  // sizeof(pthread_mutex_t)
  guint64 generation;
  guint32 condemned;
  guint32 clean;
  guint32 complete;
  guint32 configuration;
  char boot_id[BOOT_ID_BYTES];  // of the clean mark
  alignas(64) pthread_mutex_t mutex;
  alignas(64) guint8 occupied[PLACES];
  alignas(64) std::atomic<guint64> changes;
  JournalState journal;
  guint32 cursors;
  guint64 replacements;

  bool readable() const {
    return memcmp(magic, MAGIC, sizeof MAGIC) == 0 && version == VERSION &&
           mutex_bytes == sizeof(pthread_mutex_t);
  }
};

int GateFile::map(int fd, std::unique_ptr<GateFile>* file) {
  void* address = mmap(nullptr, FILE_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (address == MAP_FAILED) {
    return errno;
  }
  file->reset(new (std::nothrow) GateFile(static_cast<Layout*>(address)));
  if (*file == nullptr) {
    munmap(address, FILE_BYTES);
    return ENOMEM;
  }
  return 0;
}

int GateFile::open(const char* directory, bool first, guint32 configuration,
                   std::unique_ptr<GateFile>* file) {
  // Who is not the first must not make a file: it would be another one than that of
  // the others.
  const Descriptor fd(open_file(directory, first ? O_RDWR | O_CREAT : O_RDWR));
  if (fd == -1) {
    return errno;
  }
  static_assert(sizeof(Layout) <= FILE_BYTES, "the file holds the layout");
  static_assert(std::atomic<guint64>::is_always_lock_free, "processes share the number");
  alignas(Layout) char bytes[FILE_BYTES] = {};
  const ssize_t length = pread(fd, bytes, sizeof bytes, 0);
  const auto& found = *reinterpret_cast<const Layout*>(bytes);
  const bool readable = length == static_cast<ssize_t>(sizeof bytes) && found.readable();
  if (!first) {
    return readable ? map(fd, file) : EPROTO;
  }
  // Written out rather than only extended: a full disk must show here and not as a
  // signal at the first touch.
  const char nothing[FILE_BYTES] = {};
  int ret = length == static_cast<ssize_t>(sizeof bytes) ? 0 : write_whole(fd, nothing);
  if (ret == 0) {
    ret = map(fd, file);
  }
  if (ret == 0) {
    ret = (*file)->initialise(readable ? found : *reinterpret_cast<const Layout*>(nothing),
                              configuration);
  }
  return ret;
}

int GateFile::initialise(const Layout& found, guint32 configuration) {
  char boot_id[BOOT_ID_BYTES];
  read_boot_id(boot_id);
  was_clean_ = found.clean == 1 && found.condemned == 0 && boot_id[0] != '\0' &&
               memcmp(boot_id, found.boot_id, sizeof boot_id) == 0 &&
               found.configuration == configuration;
  const guint32 complete = found.complete;
  // A process that is killed in here leaves a file that the next one does not take
  // for clean: that mark goes first.
  layout_->clean = 0;
  memset(static_cast<void*>(layout_), 0, sizeof *layout_);
  layout_->generation = 1;
  layout_->condemned = was_clean_ ? 0 : 1;
  layout_->complete = complete;
  layout_->configuration = configuration;

  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  const int ret = pthread_mutex_init(&layout_->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  if (ret == 0) {
    layout_->mutex_bytes = sizeof(pthread_mutex_t);
    layout_->version = VERSION;
    memcpy(layout_->magic, MAGIC, sizeof MAGIC);
  }
  return ret;
}

GateFile::~GateFile() { munmap(layout_, FILE_BYTES); }

bool GateFile::says_complete(const char* directory) {
  const Descriptor fd(open_file(directory, O_RDONLY));
  alignas(Layout) char bytes[sizeof(Layout)];
  return fd != -1 && pread(fd, bytes, sizeof bytes, 0) == static_cast<ssize_t>(sizeof bytes) &&
         reinterpret_cast<const Layout*>(bytes)->readable() &&
         reinterpret_cast<const Layout*>(bytes)->complete == 1;
}

int GateFile::lock() {
  int ret = pthread_mutex_lock(&layout_->mutex);
  if (ret == EOWNERDEAD) {
    // In this order: who dies in here leaves the mutex as it was found.
    condemn();
    ret = pthread_mutex_consistent(&layout_->mutex);
  }
  return ret;
}

void GateFile::unlock() { pthread_mutex_unlock(&layout_->mutex); }

guint64 GateFile::generation() const { return layout_->generation; }

void GateFile::condemn() {
  layout_->condemned = 1;
  ++layout_->generation;
  count_change();
  count_replacement();
}

bool GateFile::condemned() const { return layout_->condemned != 0; }

guint64 GateFile::changes() const { return layout_->changes.load(std::memory_order_acquire); }

void GateFile::count_change() { layout_->changes.fetch_add(1); }

guint64 GateFile::replacements() const { return layout_->replacements; }

void GateFile::count_replacement() { ++layout_->replacements; }

void GateFile::absolve() {
  layout_->condemned = 0;
  layout_->journal.known = 0;
  layout_->cursors = 0;
}

GateFile::JournalState* GateFile::journal() { return &layout_->journal; }

guint32 GateFile::cursors() const { return layout_->cursors; }

void GateFile::set_cursors(guint32 cursors) { layout_->cursors = cursors; }

void GateFile::set_configuration(guint32 configuration) { layout_->configuration = configuration; }

void GateFile::set_clean() {
  read_boot_id(layout_->boot_id);
  layout_->clean = 1;
}

void GateFile::set_complete() { layout_->complete = 1; }

bool GateFile::occupied(int place) const { return layout_->occupied[place] != 0; }

void GateFile::set_occupied(int place, bool occupied) {
  layout_->occupied[place] = occupied ? 1 : 0;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
