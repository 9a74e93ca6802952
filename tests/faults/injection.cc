#include "tests/faults/injection.h"

#include <db.h>
#include <dlfcn.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace faults {
namespace {

constexpr int64_t kNoLimit = INT64_MAX;

struct Fault {
  bool armed = false;
  Call call = Call::WRITE;
  int left = 0;  // calls until the first one that fails
  bool lasting = false;
  int64_t room = kNoLimit;
  int failed = 0;
};

Fault fault;

bool fails(Call call) {
  if (!fault.armed || fault.call != call || --fault.left > 0 ||
      (fault.left < 0 && !fault.lasting)) {
    return false;
  }
  ++fault.failed;
  return true;
}

// One byte is how Berkeley DB lets its shared memory grow, into space that the library has
// reserved for it: a full disk does not refuse that.
bool has_room(size_t length) {
  if (length == 1) {
    return true;
  }
  if (fault.room < static_cast<int64_t>(length)) {
    ++fault.failed;
    return false;
  }
  if (fault.room != kNoLimit) {
    fault.room -= static_cast<int64_t>(length);
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

void fail_call(Call call, int n, bool lasting) {
  fault = Fault();
  fault.armed = true;
  fault.call = call;
  fault.left = n;
  fault.lasting = lasting;
}

void fill_disk(int64_t bytes) {
  fault = Fault();
  fault.room = bytes;
}

int lift_faults() {
  const int failed = fault.failed;
  fault = Fault();
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
  if (ret == 0 && faults::fault.room != faults::kNoLimit) {
    disk->f_bavail = static_cast<fsblkcnt_t>(faults::fault.room) / disk->f_frsize;
  }
  return ret;
}

}  // extern "C"
#pragma GCC visibility pop
