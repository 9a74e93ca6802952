#include "crawl/byte_reader.h"

#include <algorithm>

namespace ostren::fenra::crawl {

ByteReader::LineEnd ByteReader::line(std::string& line, size_t most) {
  line.clear();
  bool too_long = false;
  std::string_view given = bytes_.at_hand();
  if (given.empty()) {
    return kNone;
  }
  for (bool ended = false; !ended && !given.empty(); given = ended ? given : bytes_.at_hand()) {
    const size_t feed = given.find('\n');
    ended = feed != std::string_view::npos;
    const std::string_view part = given.substr(0, feed);
    too_long = too_long || part.size() > most - line.size();
    line.append(part.substr(0, most - line.size()));
    bytes_.take(part.size() + (ended ? 1 : 0));
  }
  return too_long ? kTooLong : kWhole;
}

size_t ByteReader::append(std::string& to, size_t count) {
  size_t left = count;
  while (left > 0) {
    const std::string_view given = bytes_.at_hand().substr(0, left);
    if (given.empty()) {
      break;
    }
    to.append(given);
    bytes_.take(given.size());
    left -= given.size();
  }
  return count - left;
}

uint64_t ByteReader::skip(uint64_t count) {
  uint64_t left = count;
  while (left > 0) {
    const std::string_view given = bytes_.at_hand();
    const auto part = static_cast<size_t>(std::min<uint64_t>(given.size(), left));
    if (part == 0) {
      break;
    }
    bytes_.take(part);
    left -= part;
  }
  return count - left;
}

}  // namespace ostren::fenra::crawl
