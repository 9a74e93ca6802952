// The records of a WARC file: header, block, header, block.
#ifndef FENRA_CRAWL_RECORD_READER_H
#define FENRA_CRAWL_RECORD_READER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "crawl/byte_reader.h"

namespace ostren::fenra::crawl {

// The fields of a record's header that matter here, without blanks around them; empty when it has
// none, or one of more than 64 KiB.
struct RecordHeader {
  uint64_t offset = 0;  // of the record, in the unpacked bytes
  std::string type;
  std::string target_uri;
  std::string date;
  std::string content_length;
};

// Thrown where no record begins; those behind can be read.
struct Damaged {
  std::string reason;
};

class RecordReader {
 public:
  explicit RecordReader(std::unique_ptr<ByteSource> source) : bytes_(std::move(source)) {}

  // The next record, past what is left of the one before; nothing at the end. Throws Damaged, and
  // Unreadable, also where that one is cut off.
  std::optional<RecordHeader> next();

  // Appends the next bytes of the record's block, as many unless it ends before. Throws Unreadable.
  void append(std::string& to, size_t count);

  // The bytes of the block that have not been read.
  uint64_t left() const { return left_; }

  // Where the record that is being read begins, in the unpacked bytes.
  uint64_t offset() const { return offset_; }

 private:
  void skip_block();
  bool find_record(std::string& line);
  RecordHeader read_header();

  ByteReader bytes_;
  uint64_t offset_ = 0;
  uint64_t left_ = 0;
  bool lost_ = false;  // what comes next need not be a record
};

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_RECORD_READER_H
