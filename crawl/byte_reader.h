// Lines and counted bytes out of a source.
#ifndef FENRA_CRAWL_BYTE_READER_H
#define FENRA_CRAWL_BYTE_READER_H

#include <memory>
#include <string>
#include <string_view>

#include "crawl/packed_bytes.h"

namespace ostren::fenra::crawl {

// Every call throws Unreadable, as the source does.
class ByteReader {
 public:
  explicit ByteReader(std::unique_ptr<ByteSource> source) : bytes_(std::move(source)) {}

  enum LineEnd {
    kWhole,
    kTooLong,  // it is passed, its beginning is there
    kNone,     // the source has ended before
  };

  // Reads a line of at most `most` bytes, without its line feed, which the last one need not have.
  LineEnd line(std::string& line, size_t most);

  // Appends as many bytes, fewer at the end only, and gives their number.
  size_t append(std::string& to, size_t count);

  // Passes as many bytes, fewer at the end only, and gives their number.
  uint64_t skip(uint64_t count);

  // The next bytes, fewer at the end only, which stay. At most some thousands.
  std::string_view ahead(size_t count) { return bytes_.at_hand(count).substr(0, count); }

  // The bytes that have been read and passed.
  uint64_t offset() const { return bytes_.taken(); }

 private:
  PackedBytes bytes_;
};

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_BYTE_READER_H
