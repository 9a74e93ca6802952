// The file "fenra.journal" of a store directory: articles that are safe on disk and wait
// for being written to the databases. docs/store-format.md has its layout.
//
// The file is written from its beginning to its end, and then from the beginning again.
// Ids tell what is what: a record is followed by the next one if the id there is higher,
// and otherwise by what is left of an earlier round, or of a write that was cut short.
#ifndef FENRA_STORE_WAITING_JOURNAL_FILE_H
#define FENRA_STORE_WAITING_JOURNAL_FILE_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/file.h"

namespace ostren::fenra::store {

// On disk: the size of what precedes a record's payload.
constexpr guint32 JOURNAL_RECORD_HEADER_BYTES = 16;

// Throws Failed with the system's code, and std::bad_alloc.
class JournalFile {
 public:
  static constexpr guint64 BEGIN = 16;                     // on disk: offset of the first record
  static constexpr guint64 MOST_BYTES = guint64{8} << 20;  // on disk

  struct Record {
    guint64 id;
    guint64 offset;
    std::string_view payload;
  };

  // Opens the file of a directory, and makes it where there is none if `create` says so;
  // otherwise gives null. EPROTO for what is not a journal of this version.
  static std::unique_ptr<JournalFile> open(const char* directory, bool create);

  // Removes the file of a directory, if there is one.
  static void remove(const char* directory);

  // Writes a record to the offset, where it ends at MOST_BYTES at the latest, and waits
  // for the disk. `record` is its payload behind JOURNAL_RECORD_HEADER_BYTES, which are
  // filled in. After a failure the record may be there in part, or be found whole at some
  // time.
  void write(guint64 offset, guint64 id, std::string* record);

  // Reads from the offset on, where a record begins, as many records as follow one another
  // up to the offset `end`, which may lie behind the file. They point into *bytes.
  std::vector<Record> read(guint64 offset, guint64 end, std::string* bytes) const;

 private:
  JournalFile(Descriptor file, guint64 salt) : file_(std::move(file)), salt_(salt) {}
  static guint64 write_header(int fd);
  static guint64 read_header(int fd);
  void make_room(guint64 end) const;
  guint32 checksum(const char* record, size_t length) const;
  bool is_record(const char* bytes, size_t available) const;

  const Descriptor file_;
  const guint64 salt_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WAITING_JOURNAL_FILE_H
