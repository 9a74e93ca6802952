// Tells the files of a store from others of the same names.
#ifndef FENRA_STORE_PROCESS_FILES_MARK_H
#define FENRA_STORE_PROCESS_FILES_MARK_H

#include <glib.h>

#include <string>
#include <vector>

namespace ostren::fenra::store {

// On disk. A file that is written to, copied or put back differs in one of them.
struct FileMark {
  guint64 inode;
  guint64 size;
  gint64 changed_seconds;  // when it was last written to
  gint64 changed_nanoseconds;

  bool operator==(const FileMark& other) const {
    return inode == other.inode && size == other.size && changed_seconds == other.changed_seconds &&
           changed_nanoseconds == other.changed_nanoseconds;
  }
};

// On disk. Zeros for what is not there.
struct FilesMark {
  guint64 directory_inode;
  FileMark database;
  FileMark last_log;
  FileMark segments;  // of their list

  bool operator==(const FilesMark& other) const {
    return directory_inode == other.directory_inode && database == other.database &&
           last_log == other.last_log && segments == other.segments;
  }
};

// Zeros when the file cannot be asked.
FileMark mark_of_open_file(int fd);
FileMark mark_of_file(int directory, const char* name);

FilesMark read_files_mark(const std::string& directory);

// The numbers of the log files of a directory, ascending.
std::vector<guint32> log_numbers(const std::string& directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_FILES_MARK_H
