#include "base/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "base/failed.h"

namespace ostren::fenra {

Descriptor open_to_read(const std::string& path, int flags) {
  return Descriptor(require_call(open(path.c_str(), O_RDONLY | O_CLOEXEC | flags)));
}

Descriptor open_regular(int directory, const std::string& name) {
  Descriptor file(
      openat(directory, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!file) {
    require(errno == ENOENT ? 0 : errno == ELOOP ? EINVAL : errno);
    return file;
  }
  struct stat status = {};
  require_call(fstat(file.get(), &status));
  require(S_ISREG(status.st_mode) ? 0 : EINVAL);
  return file;
}

std::vector<std::string> names_in(int directory) {
  const int fd = require_call(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  DIR* const entries = fdopendir(fd);
  if (entries == nullptr) {
    close(fd);
    throw Failed{ENOMEM};
  }
  std::vector<std::string> names;
  while (const dirent* entry = readdir(entries)) {
    if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) {
      names.emplace_back(entry->d_name);
    }
  }
  closedir(entries);
  return names;
}

void write_whole(int fd, const void* bytes, size_t length, guint64 offset) {
  const char* next = static_cast<const char*>(bytes);
  while (length > 0) {
    const ssize_t written = pwrite(fd, next, length, static_cast<off_t>(offset));
    if (written == -1 && errno == EINTR) {
      continue;
    }
    if (require_call(written) == 0) {
      throw Failed{ENOSPC};
    }
    next += written;
    length -= static_cast<size_t>(written);
    offset += static_cast<guint64>(written);
  }
}

size_t read_whole(int fd, void* bytes, size_t length, guint64 offset) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = pread(fd, static_cast<char*>(bytes) + done, length - done,
                                static_cast<off_t>(offset + done));
    if (count == -1 && errno == EINTR) {
      continue;
    }
    if (require_call(count) == 0) {
      break;
    }
    done += static_cast<size_t>(count);
  }
  return done;
}

guint64 file_size(int fd) {
  struct stat status = {};
  require_call(fstat(fd, &status));
  return static_cast<guint64>(status.st_size);
}

void sync_file(int fd) { require_call(fsync(fd)); }

void sync_path(const std::string& path) { sync_file(open_to_read(path).get()); }

}  // namespace ostren::fenra
