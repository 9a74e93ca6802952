#include "crawl/zstd_source.h"

#ifdef FENRA_HAVE_ZSTD
#include <zstd.h>
#endif

#include <new>
#include <string>

#include "base/handles.h"

namespace ostren::fenra::crawl {
namespace {

constexpr std::string_view kFrame = "\x28\xb5\x2f\xfd";

}  // namespace

// A frame, or one that is to be skipped, whose first byte has 16 values.
bool begins_as_zstd(std::string_view bytes) {
  return bytes.substr(0, kFrame.size()) == kFrame ||
         (bytes.size() >= kFrame.size() && bytes.substr(1, 3) == "\x2a\x4d\x18" &&
          (bytes[0] & 0xf0) == 0x50);
}

#ifdef FENRA_HAVE_ZSTD

namespace {

constexpr std::string_view kDictionaryFrame = "\x5d\x2a\x4d\x18";
constexpr size_t kMostDictionary = size_t{16} << 20;

class ZstdSource : public ByteSource {
 public:
  explicit ZstdSource(PackedBytes bytes, std::string_view dictionary = {})
      : bytes_(std::move(bytes)), context_(ZSTD_createDCtx()) {
    if (context_ == nullptr) {
      throw std::bad_alloc();
    }
    if (ZSTD_isError(
            ZSTD_DCtx_loadDictionary(context_.get(), dictionary.data(), dictionary.size())) != 0) {
      throw Unreadable{"its dictionary of zstd is damaged; what is behind is not read"};
    }
  }

  size_t read(char* bytes, size_t length) override {
    ZSTD_outBuffer out = {bytes, length, 0};
    while (out.pos == 0) {
      const std::string_view packed = bytes_.at_hand();
      if (packed.empty() && !within_frame_) {
        break;
      }
      // What is left inside comes out without further bytes.
      ZSTD_inBuffer in = {packed.data(), packed.size(), 0};
      const size_t status = ZSTD_decompressStream(context_.get(), &out, &in);
      if (ZSTD_isError(status) != 0) {
        throw Unreadable{"the zstd data are damaged at byte " + std::to_string(bytes_.taken()) +
                         " of the file, or need a dictionary; what is behind is not read"};
      }
      within_frame_ = status != 0;
      bytes_.take(in.pos);
      if (packed.empty() && within_frame_ && out.pos == 0) {
        throw Unreadable{kCutOff};
      }
    }
    return out.pos;
  }

 private:
  PackedBytes bytes_;
  const std::unique_ptr<ZSTD_DCtx, Releaser<ZSTD_freeDCtx>> context_;
  bool within_frame_ = false;
};

class TextSource : public ByteSource {
 public:
  explicit TextSource(std::string text) : text_(std::move(text)) {}

  size_t read(char* bytes, size_t length) override {
    const size_t count = text_.copy(bytes, length, at_);
    at_ += count;
    return count;
  }

 private:
  const std::string text_;
  size_t at_ = 0;
};

// Takes the frame's content off the front. Throws Unreadable.
std::string take_dictionary(PackedBytes& bytes) {
  constexpr size_t kHeader = 8;
  const std::string_view header = bytes.at_hand(kHeader);
  if (header.size() < kHeader) {
    throw Unreadable{kCutOff};
  }
  size_t size = 0;
  for (size_t i = kHeader; i > kDictionaryFrame.size(); --i) {
    size = size << 8 | static_cast<unsigned char>(header[i - 1]);
  }
  bytes.take(kHeader);
  if (size > kMostDictionary) {
    throw Unreadable{"its dictionary of zstd has " + std::to_string(size) + " bytes; " +
                     std::to_string(kMostDictionary) + " are the most"};
  }
  std::string content;
  while (content.size() < size) {
    const std::string_view given = bytes.at_hand().substr(0, size - content.size());
    if (given.empty()) {
      throw Unreadable{kCutOff};
    }
    content.append(given);
    bytes.take(given.size());
  }
  return content;
}

// A dictionary may be packed itself.
std::string unpacked_dictionary(std::string content) {
  if (content.substr(0, kFrame.size()) != kFrame) {
    return content;
  }
  ZstdSource source(PackedBytes(std::make_unique<TextSource>(std::move(content))));
  std::string dictionary;
  char portion[4096];
  while (const size_t count = source.read(portion, sizeof(portion))) {
    dictionary.append(portion, count);
    if (dictionary.size() > kMostDictionary) {
      throw Unreadable{"its dictionary of zstd has more than " + std::to_string(kMostDictionary) +
                       " bytes"};
    }
  }
  return dictionary;
}

}  // namespace

std::unique_ptr<ByteSource> unpacked_zstd(PackedBytes bytes) {
  std::string dictionary;
  if (bytes.at_hand(kDictionaryFrame.size()).substr(0, kDictionaryFrame.size()) ==
      kDictionaryFrame) {
    dictionary = unpacked_dictionary(take_dictionary(bytes));
  }
  return std::make_unique<ZstdSource>(std::move(bytes), dictionary);
}

#else

std::unique_ptr<ByteSource> unpacked_zstd(PackedBytes) {
  throw Unreadable{
      "it is packed with zstd, which this fenra was built without; unpack it with zstd -d, or "
      "build fenra where libzstd-dev is installed"};
}

#endif

}  // namespace ostren::fenra::crawl
