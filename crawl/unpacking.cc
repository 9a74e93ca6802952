#include "crawl/unpacking.h"

#include <zlib.h>

#include <new>
#include <string>

#include "crawl/packed_bytes.h"
#include "crawl/zstd_source.h"

namespace ostren::fenra::crawl {
namespace {

constexpr std::string_view kGzip = "\x1f\x8b";

class Plain : public ByteSource {
 public:
  explicit Plain(PackedBytes bytes) : bytes_(std::move(bytes)) {}

  size_t read(char* bytes, size_t length) override {
    const std::string_view given = bytes_.at_hand().substr(0, length);
    std::copy(given.begin(), given.end(), bytes);
    bytes_.take(given.size());
    return given.size();
  }

 private:
  PackedBytes bytes_;
};

class Gzip : public ByteSource {
 public:
  explicit Gzip(PackedBytes bytes) : bytes_(std::move(bytes)) {
    constexpr int kGzipOnly = 16;
    if (inflateInit2(&stream_, kGzipOnly + MAX_WBITS) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~Gzip() override { inflateEnd(&stream_); }
  Gzip(const Gzip&) = delete;
  Gzip& operator=(const Gzip&) = delete;

  size_t read(char* bytes, size_t length) override {
    size_t count = 0;
    while (count == 0) {
      const std::string_view packed = bytes_.at_hand();
      if (packed.empty()) {
        if (within_member_) {
          throw Unreadable{kCutOff};
        }
        break;
      }
      count = inflate_some(packed, bytes, length);
    }
    return count;
  }

 private:
  size_t inflate_some(std::string_view packed, char* bytes, size_t length) {
    within_member_ = true;
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream_.avail_in = static_cast<uInt>(packed.size());
    stream_.next_out = reinterpret_cast<Bytef*>(bytes);
    stream_.avail_out = static_cast<uInt>(std::min<size_t>(length, UINT32_MAX));
    const uInt room = stream_.avail_out;
    const int status = inflate(&stream_, Z_NO_FLUSH);
    bytes_.take(packed.size() - stream_.avail_in);
    const size_t count = room - stream_.avail_out;
    if (status == Z_STREAM_END) {
      inflateReset(&stream_);
      within_member_ = false;
    } else if (status == Z_MEM_ERROR) {
      throw std::bad_alloc();
    } else if (status != Z_OK && count == 0) {
      throw Unreadable{"the gzip data are damaged at byte " + std::to_string(bytes_.taken()) +
                       " of the file; what is behind is not read"};
    }
    return count;
  }

  PackedBytes bytes_;
  z_stream stream_ = {};
  bool within_member_ = false;
};

}  // namespace

std::unique_ptr<ByteSource> unpacked(std::unique_ptr<ByteSource> source) {
  PackedBytes bytes(std::move(source));
  const std::string_view first = bytes.at_hand(4);
  if (first.substr(0, kGzip.size()) == kGzip) {
    return std::make_unique<Gzip>(std::move(bytes));
  }
  if (begins_as_zstd(first)) {
    return unpacked_zstd(std::move(bytes));
  }
  return std::make_unique<Plain>(std::move(bytes));
}

}  // namespace ostren::fenra::crawl
