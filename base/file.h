// Files by their descriptors. What fails throws Failed with the system's code.
#ifndef FENRA_BASE_FILE_H
#define FENRA_BASE_FILE_H

#include <glib.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

namespace ostren::fenra {

// Owns an open file; -1 stands for none.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ != -1) {
      close(fd_);
    }
  }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ != -1; }

 private:
  int fd_;
};

// Opens for reading.
Descriptor open_to_read(const std::string& path, int flags = 0);

// Opens a file of an open directory for reading; none when there is no such name. EINVAL for
// what is no regular file, which is not waited for: a link, a pipe, a directory.
Descriptor open_regular(int directory, const std::string& name);

// The names in an open directory.
std::vector<std::string> names_in(int directory);

// Writes all of it at the offset; ENOSPC when the system takes nothing.
void write_whole(int fd, const void* bytes, size_t length, guint64 offset);

// The number of bytes read, fewer than asked for at the end of the file only.
size_t read_whole(int fd, void* bytes, size_t length, guint64 offset);

guint64 file_size(int fd);

// Waits until a file, or the names in a directory, are on the disk.
void sync_file(int fd);
void sync_path(const std::string& path);

}  // namespace ostren::fenra

#endif  // FENRA_BASE_FILE_H
