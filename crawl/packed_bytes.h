// The bytes of a source, held in portions for those who unpack them.
#ifndef FENRA_CRAWL_PACKED_BYTES_H
#define FENRA_CRAWL_PACKED_BYTES_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "crawl/byte_source.h"

namespace ostren::fenra::crawl {

class PackedBytes {
 public:
  explicit PackedBytes(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

  // Those at hand, at least `least` of them unless the source ends before; not more than a
  // portion may be asked for.
  std::string_view at_hand(size_t least = 1) {
    if (end_ - begin_ < least) {
      std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
      end_ -= std::exchange(begin_, 0);
      size_t count = 1;
      while (end_ < least && count > 0) {
        count = source_->read(buffer_.data() + end_, buffer_.size() - end_);
        end_ += count;
      }
    }
    return {buffer_.data() + begin_, end_ - begin_};
  }

  // Goes past bytes at hand.
  void take(size_t count) {
    begin_ += count;
    taken_ += count;
  }

  uint64_t taken() const { return taken_; }

 private:
  static constexpr size_t kPortion = 65536;

  std::unique_ptr<ByteSource> source_;
  std::vector<char> buffer_ = std::vector<char>(kPortion);
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t taken_ = 0;
};

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_PACKED_BYTES_H
