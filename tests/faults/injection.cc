#include "tests/faults/injection.h"

#include <db.h>
#include <dlfcn.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace faults {
namespace {

constexpr int64_t kNoLimit = INT64_MAX;

struct State {
  bool armed = false;
  Call call = Call::WRITE;
  int left = 0;  // calls until the first one that fails
  Fault fault = Fault::ONCE;
  int64_t room = kNoLimit;
  int failed = 0;
};

State state;

bool fails(Call call) {
  if (!state.armed || state.call != call || --state.left > 0 ||
      (state.left < 0 && state.fault != Fault::LASTING)) {
    return false;
  }
  if (state.fault == Fault::DEATH) {
    raise(SIGKILL);
  }
  ++state.failed;
  return true;
}

// One byte is how Berkeley DB lets its shared memory grow, into space that the library has
// reserved for it: a full disk does not refuse that.
bool has_room(size_t length) {
  if (length == 1) {
    return true;
  }
  if (state.room < static_cast<int64_t>(length)) {
    ++state.failed;
    return false;
  }
  if (state.room != kNoLimit) {
    state.room -= static_cast<int64_t>(length);
  }
  return true;
}

// Sets errno for what fails, and gives that back.
bool with_error(bool failing, int error) {
  errno = failing ? error : errno;
  return failing;
}

bool write_fails(size_t length) {
  return with_error(fails(Call::WRITE) || !has_room(length), ENOSPC);
}

ssize_t hooked_write(int fd, const void* bytes, size_t length) {
  return write_fails(length) ? -1 : write(fd, bytes, length);
}

bool fsync_fails() { return with_error(fails(Call::FSYNC), EIO); }

// The system's function of a name that is defined below.
template <typename Function>
Function* system_function(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void* hooked_malloc(size_t size) {
  return with_error(fails(Call::ALLOCATION), ENOMEM) ? nullptr : malloc(size);
}

void* hooked_realloc(void* block, size_t size) {
  return with_error(fails(Call::ALLOCATION), ENOMEM) ? nullptr : realloc(block, size);
}

}  // namespace

void install_hooks() {
  db_env_set_func_write(hooked_write);
  db_env_set_func_malloc(hooked_malloc);
  db_env_set_func_realloc(hooked_realloc);
}

void fail_call(Call call, int n, Fault fault) {
  state = State();
  state.armed = true;
  state.call = call;
  state.left = n;
  state.fault = fault;
}

void fill_disk(int64_t bytes) {
  state = State();
  state.room = bytes;
}

int lift_faults() {
  const int failed = state.failed;
  state = State();
  return failed;
}

}  // namespace faults

// The program's own: libraries that call them get these.
#pragma GCC visibility push(default)
extern "C" {

ssize_t pwrite64(int fd, const void* bytes, size_t length, off64_t offset) {
  static auto* const real = faults::system_function<decltype(pwrite64)>("pwrite64");
  return faults::write_fails(length) ? -1 : real(fd, bytes, length, offset);
}

ssize_t pwrite(int fd, const void* bytes, size_t length, off_t offset) {
  return pwrite64(fd, bytes, length, offset);
}

int fsync(int fd) {
  static auto* const real = faults::system_function<decltype(fsync)>("fsync");
  return faults::fsync_fails() ? -1 : real(fd);
}

int fdatasync(int fd) {
  static auto* const real = faults::system_function<decltype(fdatasync)>("fdatasync");
  return faults::fsync_fails() ? -1 : real(fd);
}

int statvfs(const char* path, struct statvfs* disk) {
  static auto* const real = faults::system_function<int(const char*, struct statvfs*)>("statvfs");
  const int ret = real(path, disk);
  if (ret == 0 && faults::state.room != faults::kNoLimit) {
    disk->f_bavail = static_cast<fsblkcnt_t>(faults::state.room) / disk->f_frsize;
  }
  return ret;
}

}  // extern "C"
#pragma GCC visibility pop
