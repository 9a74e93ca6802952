#include "crawl/record_reader.h"

#include <charconv>

#include "crawl/header_fields.h"

namespace ostren::fenra::crawl {
namespace {

constexpr size_t kMostLine = 65536;
constexpr std::string_view kVersion = "WARC/1.";

bool begins_record(std::string_view line) { return line.substr(0, kVersion.size()) == kVersion; }

// Where the field is kept; null when it is not.
std::string* place_of(RecordHeader& header, const std::string& name) {
  return name == "warc-type"         ? &header.type
         : name == "warc-target-uri" ? &header.target_uri
         : name == "warc-date"       ? &header.date
         : name == "content-length"  ? &header.content_length
                                     : nullptr;
}

uint64_t length_of(const RecordHeader& header) {
  uint64_t length = 0;
  const std::string& text = header.content_length;
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, length);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) {
    throw Damaged{"its Content-Length '" + text.substr(0, 40) + "' is not a number of bytes"};
  }
  return length;
}

}  // namespace

std::optional<RecordHeader> RecordReader::next() {
  skip_block();
  std::string line;
  if (!find_record(line)) {
    return std::nullopt;
  }
  if (!begins_record(line)) {
    lost_ = true;
    throw Damaged{"no record of WARC 1.0 or 1.1 begins here; it is left out, up to the next one"};
  }
  lost_ = true;  // until the length is known
  RecordHeader header = read_header();
  left_ = length_of(header);
  lost_ = false;
  return header;
}

void RecordReader::skip_block() {
  const uint64_t length = std::exchange(left_, 0);
  if (bytes_.skip(length) != length) {
    throw Unreadable{kCutOff};
  }
}

// Reads the line that a record has to begin with. False at the end.
bool RecordReader::find_record(std::string& line) {
  for (;;) {
    offset_ = bytes_.offset();
    if (bytes_.line(line, kMostLine) == ByteReader::kNone) {
      return false;
    }
    if (lost_ ? begins_record(line) : !trimmed(line).empty()) {
      return true;
    }
  }
}

RecordHeader RecordReader::read_header() {
  RecordHeader header;
  header.offset = offset_;
  std::string* last = nullptr;
  std::string line;
  for (;;) {
    const ByteReader::LineEnd end = bytes_.line(line, kMostLine);
    if (end == ByteReader::kNone) {
      throw Unreadable{kCutOff};
    }
    if (trimmed(line).empty() && end == ByteReader::kWhole) {
      return header;
    }
    if (line[0] == ' ' || line[0] == '\t') {  // the line before goes on
      if (last != nullptr && last->size() + line.size() < kMostLine) {
        last->append(" ").append(trimmed(line));
      }
      continue;
    }
    const HeaderField field = header_field(line);
    last = place_of(header, field.name);
    if (last != nullptr) {
      *last = end == ByteReader::kWhole ? std::string(field.value) : "";
    }
  }
}

void RecordReader::append(std::string& to, size_t count) {
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(count, left_));
  const size_t given = bytes_.append(to, wanted);
  left_ -= given;
  if (given != wanted) {
    left_ = 0;
    throw Unreadable{kCutOff};
  }
}

}  // namespace ostren::fenra::crawl
