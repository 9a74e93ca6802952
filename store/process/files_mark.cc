#include "store/process/files_mark.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "store/layout/store_files.h"

namespace ostren::fenra::store {
namespace {

FileMark mark_of(const struct stat& status) {
  return {status.st_ino, static_cast<guint64>(status.st_size), status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

FileMark mark_of(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0 ? mark_of(status) : FileMark{};
}

}  // namespace

FileMark mark_of_open_file(int fd) {
  struct stat status = {};
  return fstat(fd, &status) == 0 ? mark_of(status) : FileMark{};
}

FileMark mark_of_file(int directory, const char* name) {
  struct stat status = {};
  return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 ? mark_of(status) : FileMark{};
}

std::vector<guint32> log_numbers(const std::string& directory) {
  std::vector<guint32> numbers;
  GDir* entries = g_dir_open(directory.c_str(), 0, nullptr);
  if (entries == nullptr) {
    return numbers;
  }
  while (const char* name = g_dir_read_name(entries)) {
    if (is_log_name(name)) {
      numbers.push_back(log_number(name));
    }
  }
  g_dir_close(entries);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

FilesMark read_files_mark(const std::string& directory) {
  FilesMark mark = {};
  mark.directory_inode = mark_of(directory).inode;
  mark.database = mark_of(directory + "/" + DATABASE_FILE);
  mark.segments = mark_of(directory + "/" + SEGMENTS_FILE);
  const std::vector<guint32> logs = log_numbers(directory);
  if (!logs.empty()) {
    mark.last_log = mark_of(directory + "/" + log_name(logs.back()));
  }
  return mark;
}

}  // namespace ostren::fenra::store
