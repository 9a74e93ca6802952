#include "store/process/files_mark.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "store/layout/schema.h"

namespace ostren::fenra::store {
namespace {

// On disk: Berkeley DB's names of log files.
constexpr char LOG_PREFIX[] = "log.";
constexpr size_t LOG_DIGITS = 10;

FileMark mark_of(const std::string& file) {
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0) {
    return {};
  }
  return {status.st_ino, static_cast<guint64>(status.st_size), status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

}  // namespace

bool is_log_name(const char* name) {
  return g_str_has_prefix(name, LOG_PREFIX) && strlen(name + strlen(LOG_PREFIX)) == LOG_DIGITS &&
         strspn(name + strlen(LOG_PREFIX), "0123456789") == LOG_DIGITS;
}

std::vector<guint32> log_numbers(const std::string& directory) {
  std::vector<guint32> numbers;
  GDir* entries = g_dir_open(directory.c_str(), 0, nullptr);
  if (entries == nullptr) {
    return numbers;
  }
  while (const char* name = g_dir_read_name(entries)) {
    if (is_log_name(name)) {
      numbers.push_back(static_cast<guint32>(strtoul(name + strlen(LOG_PREFIX), nullptr, 10)));
    }
  }
  g_dir_close(entries);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::string log_name(guint32 number) {
  char name[sizeof LOG_PREFIX + LOG_DIGITS];
  snprintf(name, sizeof name, "%s%010u", LOG_PREFIX, number);
  return name;
}

FilesMark read_files_mark(const std::string& directory) {
  FilesMark mark = {};
  mark.directory_inode = mark_of(directory).inode;
  mark.database = mark_of(directory + "/" + DATABASE_FILE);
  const std::vector<guint32> logs = log_numbers(directory);
  if (!logs.empty()) {
    mark.last_log = mark_of(directory + "/" + log_name(logs.back()));
  }
  return mark;
}

}  // namespace ostren::fenra::store
