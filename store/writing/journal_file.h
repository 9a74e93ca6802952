// The file "fenra.journal" of a store directory: articles that are safe on disk and wait
// for being written to the databases. docs/store-format.md has its layout.
//
// The file is written from its beginning to its end, and then from the beginning again.
// Ids tell what is what: a record is followed by the next one if the id there is higher,
// and otherwise by what is left of an earlier round, or of a write that was cut short.
#ifndef FENRA_STORE_WRITING_JOURNAL_FILE_H
#define FENRA_STORE_WRITING_JOURNAL_FILE_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::store {

// On disk: the size of what precedes a record's payload.
constexpr guint32 JOURNAL_RECORD_HEADER_BYTES = 16;

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
  // otherwise *file is then null. Returns 0; EPROTO for what is not a journal of this
  // version; or the code of a system call.
  static int open(const char* directory, bool create, std::unique_ptr<JournalFile>* file);
  ~JournalFile();
  JournalFile(const JournalFile&) = delete;
  JournalFile& operator=(const JournalFile&) = delete;

  // Removes the file of a directory, if there is one.
  static int remove(const char* directory);

  // Writes a record to the offset, where it ends at MOST_BYTES at the latest, and waits
  // for the disk. `record` is its payload behind JOURNAL_RECORD_HEADER_BYTES, which are
  // filled in. Returns 0 or the code of a system call; the record may then be there in
  // part, or be found whole at some time.
  int write(guint64 offset, guint64 id, std::string* record);

  // Reads from the offset on, where a record begins, as many records as follow one another
  // up to the offset `end`, which may lie behind the file. They point into *bytes. Throws
  // Failed and std::bad_alloc.
  std::vector<Record> read(guint64 offset, guint64 end, std::string* bytes) const;

 private:
  JournalFile(int fd, guint64 salt) : fd_(fd), salt_(salt) {}
  static int write_header(int fd, guint64* salt);
  static int read_header(int fd, guint64* salt);
  int make_room(guint64 end) const;
  guint32 checksum(const char* record, size_t length) const;
  bool is_record(const char* bytes, size_t available) const;

  const int fd_;
  const guint64 salt_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_FILE_H
