// Bytes of the memory as a source, given in portions of any size.
#ifndef FENRA_TESTS_MEMORY_SOURCE_H
#define FENRA_TESTS_MEMORY_SOURCE_H

#include <zlib.h>

#include <algorithm>
#include <string>
#include <utility>

#include "crawl/byte_source.h"

class MemorySource : public ostren::fenra::crawl::ByteSource {
 public:
  explicit MemorySource(std::string bytes, size_t portion = 1 << 20)
      : bytes_(std::move(bytes)), portion_(portion) {}

  size_t read(char* bytes, size_t length) override {
    const size_t count = std::min({length, portion_, bytes_.size() - at_});
    bytes_.copy(bytes, count, at_);
    at_ += count;
    return count;
  }

 private:
  const std::string bytes_;
  const size_t portion_;
  size_t at_ = 0;
};

// Deflated with a frame by the window bits of zlib: 15 its own, 31 gzip's, -15 none.
inline std::string deflated(const std::string& text, int bits) {
  z_stream stream = {};
  deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, bits, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, text.size()) + 64, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

#endif  // FENRA_TESTS_MEMORY_SOURCE_H
