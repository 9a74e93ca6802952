// Bytes under a file name, for what only reads files.
#ifndef FENRA_TEMPORARY_FILE_H
#define FENRA_TEMPORARY_FILE_H

#include <fcntl.h>
#include <glib.h>
#include <glib/gstdio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace ostren {
namespace fenra {

// A file in GLib's temporary directory that holds given bytes, for as long as the
// object lives, readable by its owner only. The directory has no entry for it, so
// that nothing stays behind even when the process is killed: name() leads to it by
// its descriptor. Where the system has no /proc, it is a file of a unique name.
class TmpFile {
 public:
  // Writes the file; when that fails nothing is left behind and name() is null.
  TmpFile(const unsigned char* content, unsigned long length) {
    int fd = openUnnamed();
    if (fd == -1) {
      fd = openNamed();
    }
    if (fd == -1) {
      return;
    }
    bool written = writeAll(fd, content, length);
    if (!isDescriptor()) {
      written = ::close(fd) == 0 && written;
    }
    if (!written) {
      remove();
    }
  }

  ~TmpFile() { remove(); }

  TmpFile(const TmpFile&) = delete;
  TmpFile& operator=(const TmpFile&) = delete;

  const char* name() const { return fileName; }

 private:
  static constexpr char DESCRIPTORS[] = "/proc/self/fd/";

  bool isDescriptor() const { return g_str_has_prefix(fileName, DESCRIPTORS); }

  // Both set fileName and return a descriptor, or leave it null and return -1.
  int openUnnamed() {
#ifdef O_TMPFILE
    const int fd = ::open(g_get_tmp_dir(), O_TMPFILE | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
    if (fd == -1 || setDescriptor(fd)) {
      return fd;
    }
    ::close(fd);
#endif
    return -1;
  }
  int openNamed() {
    std::unique_ptr<char, void (*)(void*)> path(
        g_build_filename(directory(), "fst_XXXXXX", nullptr), g_free);
    const int fd = g_mkstemp_full(path.get(), O_RDWR | O_CLOEXEC, 0600);
    if (fd != -1) {
      if (setDescriptor(fd)) {
        g_unlink(path.get());
      } else {
        fileName = path.release();
      }
    }
    return fd;
  }

  // Makes fileName the way to the file by its descriptor; false where there is none.
  bool setDescriptor(int fd) {
    std::unique_ptr<char, void (*)(void*)> path(g_strdup_printf("%s%d", DESCRIPTORS, fd), g_free);
    const int other = ::open(path.get(), O_RDONLY | O_CLOEXEC);
    if (other == -1) {
      return false;
    }
    ::close(other);
    fileName = path.release();
    return true;
  }

  static bool writeAll(int fd, const unsigned char* content, unsigned long length) {
    while (length > 0) {
      const ssize_t written = ::write(fd, content, length);
      if (written > 0) {
        content += written;
        length -= static_cast<unsigned long>(written);
      } else if (written == 0 || errno != EINTR) {
        return false;
      }
    }
    return true;
  }

  void remove() {
    if (fileName == nullptr) {
      return;
    }
    if (isDescriptor()) {
      ::close(atoi(fileName + sizeof DESCRIPTORS - 1));
    } else {
      g_unlink(fileName);
    }
    g_free(fileName);
    fileName = nullptr;
  }

  // A path with ".att" in it would be read as AT&T text.
  static const char* directory() {
    const char* tmp = g_get_tmp_dir();
    return strstr(tmp, ".att") == nullptr ? tmp : P_tmpdir;
  }

  char* fileName = nullptr;
};

}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_TEMPORARY_FILE_H
