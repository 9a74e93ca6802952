// What is packed with zstd, in frames one after the other.
#ifndef FENRA_CRAWL_ZSTD_SOURCE_H
#define FENRA_CRAWL_ZSTD_SOURCE_H

#include <memory>
#include <string_view>

#include "crawl/packed_bytes.h"

namespace ostren::fenra::crawl {

// Whether bytes begin as zstd's do, by the first 4.
bool begins_as_zstd(std::string_view bytes);

// What is packed in the bytes. The first frame may be a dictionary for the others, as the writers
// of WARC files put it there. Throws Unreadable, also where this build does not know zstd.
std::unique_ptr<ByteSource> unpacked_zstd(PackedBytes bytes);

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_ZSTD_SOURCE_H
