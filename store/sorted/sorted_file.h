// What runs and segments are for those who write and read them from end to end: sections, each
// of them a sequence of entries (key, payload) in ascending byte order of the keys. A key may
// come several times in a row, in one file or in several: the order of the files, and that of
// their entries, is kept.
#ifndef FENRA_STORE_SORTED_SORTED_FILE_H
#define FENRA_STORE_SORTED_SORTED_FILE_H

#include <glib.h>

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace ostren::fenra::store {

// All of it throws Failed, and std::bad_alloc.

class SortedWriter {
 public:
  virtual ~SortedWriter() = default;

  // Sections are written one after the other, from 0 on, each to its end.
  virtual void write(std::string_view key, std::string_view payload) = 0;
  virtual void end_section() = 0;
};

class SortedFile {
 public:
  virtual ~SortedFile() = default;

  virtual guint64 begin_of(int section) const = 0;
  virtual guint64 end_of(int section) const = 0;

  // The CRC-32 of a section's bytes, if it is known.
  virtual std::optional<guint32> checksum_of(int section) const = 0;

  // Reads up to `size` bytes from the offset on; fewer at the end of the file only.
  virtual size_t read(guint64 offset, char* bytes, size_t size) const = 0;
};

using SortedFiles = std::vector<std::unique_ptr<const SortedFile>>;

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SORTED_FILE_H
