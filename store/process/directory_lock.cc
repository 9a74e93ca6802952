#include "store/process/directory_lock.h"

#include <fcntl.h>
#include <glib.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <mutex>
#include <new>

// The turn is an exclusive flock, presence a shared record lock of the open file
// description on byte 0, and on byte 1 + n for place n; the two kinds do not see
// each other. A directory can only be opened for reading, which is enough for both
// and for asking who else is there.
struct ArticledbDirectoryLock {
  explicit ArticledbDirectoryLock(int fd_);
  ~ArticledbDirectoryLock();
  ArticledbDirectoryLock(const ArticledbDirectoryLock&) = delete;
  ArticledbDirectoryLock& operator=(const ArticledbDirectoryLock&) = delete;

  int fd;  // -1 in a forked child
  ArticledbDirectoryLock* next = nullptr;
  ArticledbDirectoryLock* previous = nullptr;
};

namespace {

// The locks of the process. A forked child closes its copies at once: as long as it had them,
// a parent that dies would count as living.
class OwnLocks {
 public:
  void add(ArticledbDirectoryLock* lock) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (!watches_forks_) {
      watches_forks_ = pthread_atfork(before_fork, after_fork, in_child) == 0;
    }
    lock->next = first_;
    if (first_ != nullptr) {
      first_->previous = lock;
    }
    first_ = lock;
  }

  void remove(ArticledbDirectoryLock* lock) {
    const std::lock_guard<std::mutex> guard(mutex_);
    (lock->previous == nullptr ? first_ : lock->previous->next) = lock->next;
    if (lock->next != nullptr) {
      lock->next->previous = lock->previous;
    }
  }

 private:
  static void before_fork();
  static void after_fork();
  static void in_child();

  std::mutex mutex_;
  ArticledbDirectoryLock* first_ = nullptr;
  bool watches_forks_ = false;
};

OwnLocks own_locks;

void OwnLocks::before_fork() { own_locks.mutex_.lock(); }

void OwnLocks::after_fork() { own_locks.mutex_.unlock(); }

void OwnLocks::in_child() {
  for (ArticledbDirectoryLock* lock = own_locks.first_; lock != nullptr; lock = lock->next) {
    close(lock->fd);
    lock->fd = -1;
  }
  own_locks.mutex_.unlock();
}

}  // namespace

ArticledbDirectoryLock::ArticledbDirectoryLock(int fd_) : fd(fd_) { own_locks.add(this); }

ArticledbDirectoryLock::~ArticledbDirectoryLock() {
  own_locks.remove(this);
  if (fd != -1) {
    close(fd);
  }
}

namespace ostren::fenra::store {
namespace {

constexpr gint64 DOOR_TIMEOUT_MICROSECONDS = gint64{120} * G_USEC_PER_SEC;
constexpr gulong DOOR_POLL_MICROSECONDS = 2000;

int shut_door(int fd) {
  const gint64 deadline = g_get_monotonic_time() + DOOR_TIMEOUT_MICROSECONDS;
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      return errno;
    }
    if (g_get_monotonic_time() > deadline) {
      return EBUSY;
    }
    g_usleep(DOOR_POLL_MICROSECONDS);
  }
  return 0;
}

// A record lock over `length` bytes; 0 means all from `start` on.
struct flock byte_range(short type, off_t start, off_t length) {
  struct flock range {};
  range.l_type = type;
  range.l_whence = SEEK_SET;
  range.l_start = start;
  range.l_len = length;
  return range;
}

int become_present(int fd, off_t byte) {
  struct flock presence = byte_range(F_RDLCK, byte, 1);
  return fcntl(fd, F_OFD_SETLK, &presence) == 0 ? 0 : errno;
}

// ESTALE when the path has come to name another directory, as compaction makes it do,
// in the turn of this one.
int still_named(int fd, const char* path) {
  struct stat entered = {};
  struct stat named = {};
  if (fstat(fd, &entered) != 0 || stat(path, &named) != 0) {
    return errno;
  }
  return entered.st_dev == named.st_dev && entered.st_ino == named.st_ino ? 0 : ESTALE;
}

int look_for_others(int fd, off_t byte, bool* alone) {
  struct flock others = byte_range(F_WRLCK, byte, 1);
  if (fcntl(fd, F_OFD_GETLK, &others) != 0) {
    return errno;
  }
  *alone = others.l_type == F_UNLCK;
  return 0;
}

int try_to_enter(const char* path, ArticledbDirectoryLock** lock, bool* alone) {
  const int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd == -1) {
    return errno;
  }
  std::unique_ptr<ArticledbDirectoryLock> entered(new (std::nothrow) ArticledbDirectoryLock(fd));
  if (entered == nullptr) {
    close(fd);
    return ENOMEM;
  }
  int ret = directory_lock_take_turn(entered.get(), alone);
  if (ret == 0) {
    ret = become_present(fd, 0);
  }
  if (ret == 0) {
    ret = still_named(fd, path);
  }
  if (ret == 0) {
    *lock = entered.release();
  }
  return ret;
}

}  // namespace

int directory_lock_enter(const char* path, ArticledbDirectoryLock** lock, bool* alone) {
  int ret;
  do {
    ret = try_to_enter(path, lock, alone);
  } while (ret == ESTALE);
  return ret;
}

int directory_lock_take_turn(ArticledbDirectoryLock* lock, bool* alone) {
  const int ret = shut_door(lock->fd);
  return ret != 0 ? ret : look_for_others(lock->fd, 0, alone);
}

void directory_lock_end_turn(ArticledbDirectoryLock* lock) { flock(lock->fd, LOCK_UN); }

int directory_lock_take_place(ArticledbDirectoryLock* lock, int place) {
  return become_present(lock->fd, off_t{1} + place);
}

bool directory_lock_is_taken(const ArticledbDirectoryLock* lock, int place) {
  bool alone = false;
  return look_for_others(lock->fd, off_t{1} + place, &alone) != 0 || !alone;
}

bool directory_has_handles(int directory) {
  bool alone = false;
  return look_for_others(directory, 0, &alone) != 0 || !alone;
}

bool directory_lock_is_own(const ArticledbDirectoryLock* lock) { return lock->fd != -1; }

void directory_lock_release(ArticledbDirectoryLock* lock) {
  if (lock == nullptr) {
    return;
  }
  // Closing the descriptor would leave the locks to a copy of it in a child that has been
  // made without notice.
  struct flock absence = byte_range(F_UNLCK, 0, 0);
  fcntl(lock->fd, F_OFD_SETLK, &absence);
  flock(lock->fd, LOCK_UN);
  delete lock;
}

}  // namespace ostren::fenra::store
