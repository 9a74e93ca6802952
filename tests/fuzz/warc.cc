// WARC files of any bytes: what comes out does not depend on the portions in which they come, nor
// on their being packed, and ends.
#include "crawl/warc_pages.h"

#include <string>

#include "crawl/unpacking.h"
#include "tests/fuzz/check.h"
#include "tests/support/memory_source.h"

namespace {

using ostren::fenra::crawl::ByteSource;
using ostren::fenra::crawl::unpacked;
using ostren::fenra::crawl::Unreadable;
using ostren::fenra::crawl::WarcPages;

constexpr int kGzip = 31;
constexpr char kEnd = '\0';

// Everything that is told of the records.
std::string contents(std::unique_ptr<ByteSource> source, size_t size) {
  std::string all;
  WarcPages pages(std::move(source));
  size_t count = 0;
  uint64_t before = 0;
  while (const auto page = pages.next()) {
    FUZZ_CHECK(page->offset >= before);
    FUZZ_CHECK(page->skipped.empty() || page->bytes.empty());
    FUZZ_CHECK(page->date.empty() || page->date.size() == 8);
    FUZZ_CHECK(++count <= size + 1);
    before = page->offset;
    for (const std::string& text :
         {page->refusal, page->skipped, page->url, page->mime, page->date, page->bytes}) {
      all += text + kEnd;
    }
  }
  return all;
}

std::string contents_of(const std::string& bytes, size_t portion) {
  return contents(std::make_unique<MemorySource>(bytes, portion), bytes.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(data, data + size);
  const std::string whole = contents_of(bytes, size + 1);
  FUZZ_CHECK(contents_of(bytes, 1) == whole);
  const auto packed = [&](size_t portion) {
    return unpacked(std::make_unique<MemorySource>(deflated(bytes, kGzip), portion));
  };
  FUZZ_CHECK(contents(packed(size + 64), size) == whole);
  FUZZ_CHECK(contents(packed(3), size) == whole);
  try {
    // Perhaps it is packed itself; that may be much.
    auto source = unpacked(std::make_unique<MemorySource>(bytes));
    char portion[4096];
    for (int i = 0; i < 256 && source->read(portion, sizeof(portion)) > 0; ++i) {
    }
  } catch (const Unreadable& unreadable) {
    FUZZ_CHECK(!unreadable.reason.empty());
  }
  return 0;
}
