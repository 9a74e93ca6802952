#include "tests/faults/injection.h"

#include <db.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace faults {
namespace {

struct Fault {
  bool armed = false;
  Call call = Call::WRITE;
  int left = 0;  // calls until the first one that fails
  bool lasting = false;
  int64_t room = INT64_MAX;
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

bool has_room(size_t length) {
  if (fault.room < static_cast<int64_t>(length)) {
    ++fault.failed;
    return false;
  }
  fault.room -= static_cast<int64_t>(length);
  return true;
}

bool write_fails(size_t length) {
  const bool failing = fails(Call::WRITE) || !has_room(length);
  if (failing) {
    errno = ENOSPC;
  }
  return failing;
}

ssize_t hooked_write(int fd, const void* bytes, size_t length) {
  return write_fails(length) ? -1 : write(fd, bytes, length);
}

ssize_t hooked_pwrite(int fd, const void* bytes, size_t length, off_t offset) {
  return write_fails(length) ? -1 : pwrite(fd, bytes, length, offset);
}

int hooked_fsync(int fd) {
  if (fails(Call::FSYNC)) {
    errno = EIO;
    return -1;
  }
  return fsync(fd);
}

void* hooked_malloc(size_t size) {
  if (fails(Call::ALLOCATION)) {
    errno = ENOMEM;
    return nullptr;
  }
  return malloc(size);
}

void* hooked_realloc(void* block, size_t size) {
  if (fails(Call::ALLOCATION)) {
    errno = ENOMEM;
    return nullptr;
  }
  return realloc(block, size);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, Call call) {
  switch (call) {
    case Call::WRITE:
      return out << "write";
    case Call::FSYNC:
      return out << "fsync";
    default:
      return out << "allocation";
  }
}

void install_hooks() {
  db_env_set_func_write(hooked_write);
  db_env_set_func_pwrite(hooked_pwrite);
  db_env_set_func_fsync(hooked_fsync);
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
