// The pages of a crawl, out of the records of a WARC file.
#ifndef FENRA_CRAWL_WARC_PAGES_H
#define FENRA_CRAWL_WARC_PAGES_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "crawl/record_reader.h"

namespace ostren::fenra::crawl {

// The most bytes of a page, packed and unpacked.
inline constexpr size_t kMostPageBytes = size_t{64} << 20;

// What a record is: a page, what is no page, or a page that cannot be had.
struct CrawledPage {
  uint64_t offset = 0;  // of the record, in the unpacked bytes
  std::string skipped;  // why it is no page, in a few words; empty when it is one
  std::string refusal;  // why it cannot be had; empty when it can
  std::string url;      // of a page, and of one that was met again and is not told anew
  std::string mime;     // text/html or text/plain, and the charset where it is told
  std::string date;     // 8 digits, or empty
  std::string bytes;
};

class WarcPages {
 public:
  explicit WarcPages(std::unique_ptr<ByteSource> source) : records_(std::move(source)) {}

  // What the next record is; nothing at the end. What ends the file too early is the refusal of
  // the last one.
  std::optional<CrawledPage> next();

 private:
  void take_record(const RecordHeader& record, CrawledPage& page);
  void take_response(CrawledPage& page);

  RecordReader records_;
  bool ended_ = false;
};

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_WARC_PAGES_H
