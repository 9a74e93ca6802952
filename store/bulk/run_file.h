// Sorted runs on disk, and their merging.
//
// A run is a temporary file without a name. It has sections, each of them a sequence of
// entries (key, payload) in ascending byte order of the keys. A key may come several
// times in a row, in one run or in several: the order of the runs, and that of their
// entries, is kept.
#ifndef FENRA_STORE_BULK_RUN_FILE_H
#define FENRA_STORE_BULK_RUN_FILE_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::store {

// All of it throws Failed, and std::bad_alloc.

class RunFile {
 public:
  // Makes an empty one in the directory.
  RunFile(const std::string& directory, int sections);
  ~RunFile();
  RunFile(const RunFile&) = delete;
  RunFile& operator=(const RunFile&) = delete;

  // Sections are written one after the other, from 0 on, each to its end.
  void write(std::string_view key, std::string_view payload);
  void end_section();

  guint64 begin_of(int section) const {
    return section == 0 ? 0 : ends_[static_cast<size_t>(section) - 1];
  }
  guint64 end_of(int section) const { return ends_[static_cast<size_t>(section)]; }

  // Reads up to `size` bytes from the offset on; fewer at the end of the file only.
  size_t read(guint64 offset, char* bytes, size_t size) const;

 private:
  void flush();

  const int fd_;
  std::vector<guint64> ends_;
  std::string buffer_;  // not written yet
  guint64 written_ = 0;
};

using Runs = std::vector<std::unique_ptr<RunFile>>;

// One section of several runs, merged.
class MergedSection {
 public:
  MergedSection(const Runs& runs, int section);
  ~MergedSection();
  MergedSection(const MergedSection&) = delete;
  MergedSection& operator=(const MergedSection&) = delete;

  // Goes on to the next entry, at the beginning to the first. False at the end.
  bool next();

  // Valid until next().
  std::string_view key() const;
  std::string_view payload() const;

 private:
  class Reader;

  bool precedes(const Reader* a, const Reader* b) const;
  void sift_down();

  // A heap, its least element in front.
  std::vector<std::unique_ptr<Reader>> readers_;
  bool started_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_RUN_FILE_H
