#include "store/waiting/segment_list.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/failed.h"
#include "base/file.h"
#include "store/layout/store_files.h"
#include "store/sorted/appended_file.h"

namespace ostren::fenra::store {
namespace {

// On disk. The ranges follow, and the CRC-32 of all that is before it.
struct Header {
  char magic[8];
  guint32 version;
  guint32 count;
};
constexpr char MAGIC[8] = {'f', 'e', 'n', 'r', 'a', 's', 'l', '\0'};
constexpr guint32 VERSION = 1;
static_assert(sizeof(Header) == 16 && sizeof(SegmentRange) == 16, "nothing between the fields");

constexpr size_t MOST_BYTES = size_t{16} << 20;

guint32 checksum(std::string_view bytes) {
  return static_cast<guint32>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

std::string bytes_of(const SegmentRanges& segments) {
  Header header = {};
  memcpy(header.magic, MAGIC, sizeof MAGIC);
  header.version = VERSION;
  header.count = static_cast<guint32>(segments.size());
  std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
  bytes.append(reinterpret_cast<const char*>(segments.data()),
               segments.size() * sizeof segments[0]);
  const guint32 sum = checksum(bytes);
  return bytes.append(reinterpret_cast<const char*>(&sum), sizeof sum);
}

void remove_file(const std::string& path) {
  require_call(unlink(path.c_str()) == 0 || errno == ENOENT ? 0 : -1);
}

}  // namespace

std::string SegmentRange::name() const {
  return std::string(SEGMENT_PREFIX) + std::to_string(first_id) + "-" + std::to_string(last_id);
}

SegmentRanges parse_segment_list(const std::string& bytes) {
  Header header = {};
  guint32 sum = 0;
  require(bytes.size() < sizeof header + sizeof sum ? EPROTO : 0);
  memcpy(&header, bytes.data(), sizeof header);
  const size_t range_bytes = header.count * sizeof(SegmentRange);
  require(memcmp(header.magic, MAGIC, sizeof MAGIC) != 0 || header.version != VERSION ||
                  bytes.size() != sizeof header + range_bytes + sizeof sum
              ? EPROTO
              : 0);
  memcpy(&sum, bytes.data() + sizeof header + range_bytes, sizeof sum);
  require(sum != checksum({bytes.data(), sizeof header + range_bytes}) ? EPROTO : 0);
  SegmentRanges segments(header.count);
  if (header.count != 0) {
    memcpy(segments.data(), bytes.data() + sizeof header, range_bytes);
  }
  guint64 last = 0;
  for (const SegmentRange& segment : segments) {
    require(segment.first_id <= last || segment.last_id < segment.first_id ? EPROTO : 0);
    last = segment.last_id;
  }
  return segments;
}

SegmentRanges read_segment_list(const std::string& directory) {
  const Descriptor opened = open_to_read(directory, O_DIRECTORY);
  const Descriptor file = open_regular(opened.get(), SEGMENTS_FILE);
  if (!file) {
    return {};
  }
  const guint64 size = file_size(file.get());
  require(size > MOST_BYTES ? EPROTO : 0);
  std::string bytes(size, '\0');
  bytes.resize(read_whole(file.get(), bytes.data(), bytes.size(), 0));
  return parse_segment_list(bytes);
}

SegmentRanges segments_behind(guint64 counter, SegmentRanges segments) {
  const auto first =
      std::find_if(segments.begin(), segments.end(),
                   [counter](const SegmentRange& segment) { return segment.last_id > counter; });
  segments.erase(segments.begin(), first);
  require(!segments.empty() && segments[0].first_id <= counter ? EPROTO : 0);
  return segments;
}

void write_segment_list(const std::string& directory, const SegmentRanges& segments) {
  const std::string path = directory + "/" + SEGMENTS_FILE;
  if (segments.empty()) {
    remove_file(path);
    sync_path(directory);
    return;
  }
  const std::string draft = path + ".new";
  remove_file(draft);
  {
    constexpr mode_t MODE = 0600;
    const Descriptor file(require_call(
        open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, MODE)));
    const std::string bytes = bytes_of(segments);
    adopt_mode_of_databases(directory, file.get());
    write_whole(file.get(), bytes.data(), bytes.size(), 0);
    sync_file(file.get());
  }
  require_call(rename(draft.c_str(), path.c_str()));
  sync_path(directory);
}

void remove_other_segments(const std::string& directory, const SegmentRanges& listed) {
  for (const std::string& name : names_in(open_to_read(directory, O_DIRECTORY).get())) {
    const bool is_listed =
        std::any_of(listed.begin(), listed.end(),
                    [&](const SegmentRange& range) { return range.name() == name; });
    if (is_segment_name(name) && !is_listed) {
      remove_file(directory + "/" + name);
    }
  }
}

}  // namespace ostren::fenra::store
