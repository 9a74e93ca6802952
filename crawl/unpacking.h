// Files packed with gzip or zstd, in one piece or in many.
#ifndef FENRA_CRAWL_UNPACKING_H
#define FENRA_CRAWL_UNPACKING_H

#include <memory>

#include "crawl/byte_source.h"

namespace ostren::fenra::crawl {

// What is packed in the source, which its first bytes tell, or else the source as it is. Throws
// Unreadable, also for a packing that this build does not know.
std::unique_ptr<ByteSource> unpacked(std::unique_ptr<ByteSource> source);

}  // namespace ostren::fenra::crawl

#endif  // FENRA_CRAWL_UNPACKING_H
