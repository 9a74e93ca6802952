// A file that is written from its beginning to its end, through a buffer.
#ifndef FENRA_STORE_SORTED_APPENDED_FILE_H
#define FENRA_STORE_SORTED_APPENDED_FILE_H

#include <glib.h>

#include <string>
#include <utility>

#include "base/file.h"

namespace ostren::fenra::store {

// All of it throws Failed.
class AppendedFile {
 public:
  // Of an empty file.
  explicit AppendedFile(Descriptor file) : file_(std::move(file)) {}

  // What is appended to this comes at the end of the file.
  std::string* buffer() { return &buffer_; }

  guint64 size() const { return written_ + buffer_.size(); }

  // Whether the buffer wants flushing.
  bool is_full() const { return buffer_.size() >= WRITE_BYTES; }

  void flush() {
    write_whole(file_.get(), buffer_.data(), buffer_.size(), written_);
    written_ += buffer_.size();
    buffer_.clear();
  }

  int fd() const { return file_.get(); }

 private:
  static constexpr size_t WRITE_BYTES = size_t{256} * 1024;

  Descriptor file_;
  std::string buffer_;  // not written yet
  guint64 written_ = 0;
};

// Who may read the databases of a store may read the file, if there are databases.
void adopt_mode_of_databases(const std::string& directory, int fd);

// Makes a file without a name in the directory.
Descriptor make_nameless_file(const std::string& directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_APPENDED_FILE_H
