#include "store/sorted/segment_format.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/failed.h"
#include "base/file.h"

namespace ostren::fenra::store {
namespace {

constexpr char MAGIC[8] = {'f', 'e', 'n', 'r', 'a', 's', 'g', '\0'};  // on disk
constexpr guint32 VERSION = 1;                                        // on disk

guint32 checksum_of(SegmentFooter footer) {
  footer.checksum = 0;
  return static_cast<guint32>(crc32_z(0, reinterpret_cast<const Bytef*>(&footer), sizeof footer));
}

bool is_inside(const SegmentFooter::Range& range, guint64 end) {
  return range.begin <= range.end && range.end <= end;
}

bool is_sound(const SegmentFooter& footer, guint64 end) {
  return memcmp(footer.magic, MAGIC, sizeof MAGIC) == 0 && footer.version == VERSION &&
         footer.checksum == checksum_of(footer) && footer.first_id <= footer.last_id &&
         std::all_of(std::begin(footer.sections), std::end(footer.sections), [end](const auto& s) {
           return is_inside(s.entries, end) && is_inside(s.index, end) &&
                  (s.index.end - s.index.begin) % sizeof(KeyPlace) == 0;
         });
}

}  // namespace

void seal(SegmentFooter* footer) {
  memcpy(footer->magic, MAGIC, sizeof MAGIC);
  footer->version = VERSION;
  footer->checksum = checksum_of(*footer);
}

SegmentFooter read_footer(int fd, guint64 size) {
  SegmentFooter footer = {};
  require(size < sizeof footer ? EPROTO : 0);
  const guint64 end = size - sizeof footer;
  require(read_whole(fd, &footer, sizeof footer, end) != sizeof footer ? EIO : 0);
  require(is_sound(footer, end) ? 0 : EPROTO);
  return footer;
}

}  // namespace ostren::fenra::store
