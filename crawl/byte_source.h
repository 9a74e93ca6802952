// Bytes that are read once, from the first to the last.
#ifndef FENRA_CRAWL_BYTE_SOURCE_H
#define FENRA_CRAWL_BYTE_SOURCE_H

#include <cstddef>
#include <memory>
#include <string>

namespace ostren::fenra::crawl {

// Thrown where a source cannot be read any further.
struct Unreadable {
  std::string reason;
};

// The reason of sources that end within what they hold.
inline constexpr char kCutOff[] = "the file is cut off here";

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Reads at most `length` bytes, which is not 0, and gives their number: 0 at the end, and only
  // there. Throws Unreadable, when everything before the fault has been read.
  virtual size_t read(char* bytes, size_t length) = 0;
};

// The file, or for "-" standard input. Throws Unreadable when it cannot be opened.
std::unique_ptr<ByteSource> open_source(const std::string& file);

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_BYTE_SOURCE_H
