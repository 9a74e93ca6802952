#include "store/directory_lock.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

// The gate is an exclusive flock, presence a shared record lock of the open file
// description; the two kinds do not see each other. A directory can only be
// opened for reading, which is enough for both and for asking who else is there.
struct ArticledbDirectoryLock {
  explicit ArticledbDirectoryLock(int fd_) : fd(fd_) {}
  ~ArticledbDirectoryLock() { close(fd); }
  ArticledbDirectoryLock(const ArticledbDirectoryLock&) = delete;
  ArticledbDirectoryLock& operator=(const ArticledbDirectoryLock&) = delete;

  const int fd;
};

namespace ostren {
namespace fenra {
namespace store {
namespace {

constexpr gint64 GATE_TIMEOUT_MICROSECONDS = gint64{120} * G_USEC_PER_SEC;
constexpr gulong GATE_POLL_MICROSECONDS = 2000;

int shut_gate(int fd) {
  const gint64 deadline = g_get_monotonic_time() + GATE_TIMEOUT_MICROSECONDS;
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      return errno;
    }
    if (g_get_monotonic_time() > deadline) {
      return EBUSY;
    }
    g_usleep(GATE_POLL_MICROSECONDS);
  }
  return 0;
}

// A record lock over the whole file, past any end.
struct flock whole_file(short type) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  return range;
}

int become_present(int fd, bool* alone) {
  struct flock presence = whole_file(F_RDLCK);
  struct flock others = whole_file(F_WRLCK);
  if (fcntl(fd, F_OFD_SETLK, &presence) != 0 || fcntl(fd, F_OFD_GETLK, &others) != 0) {
    return errno;
  }
  *alone = others.l_type == F_UNLCK;
  return 0;
}

}  // namespace

int directory_lock_enter(const char* path, ArticledbDirectoryLock** lock, bool* alone) {
  const int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd == -1) {
    return errno;
  }
  std::unique_ptr<ArticledbDirectoryLock> entered(new (std::nothrow) ArticledbDirectoryLock(fd));
  if (entered == nullptr) {
    close(fd);
    return ENOMEM;
  }
  int ret = shut_gate(fd);
  if (ret == 0) {
    ret = become_present(fd, alone);
  }
  if (ret == 0) {
    *lock = entered.release();
  }
  return ret;
}

void directory_lock_open_gate(ArticledbDirectoryLock* lock) { flock(lock->fd, LOCK_UN); }

void directory_lock_release(ArticledbDirectoryLock* lock) {
  if (lock == nullptr) {
    return;
  }
  // Closing the descriptor would leave the locks to a forked child's copy of it.
  struct flock absence = whole_file(F_UNLCK);
  fcntl(lock->fd, F_OFD_SETLK, &absence);
  flock(lock->fd, LOCK_UN);
  delete lock;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
