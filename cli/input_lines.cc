#include "cli/input_lines.h"

#include <algorithm>
#include <vector>

#include "cli/article_line.h"
#include "cli/command_line.h"
#include "cli/index_inputs.h"

namespace cli {
namespace {

using ostren::fenra::crawl::ByteReader;
using ostren::fenra::crawl::Unreadable;

constexpr size_t kMostLine = size_t{64} << 20;
constexpr size_t kMostFields = 5;

// The fields between tabs; behind the most that a line may have the last one goes on.
std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> fields(1);
  for (const char byte : line) {
    if (byte == '\t' && fields.size() < kMostFields) {
      fields.emplace_back();
    } else {
      fields.back() += byte;
    }
  }
  return fields;
}

// Why the fields name no input; empty when they do.
std::string refusal_of(const std::string& line, const std::vector<std::string>& fields) {
  const auto count = 1 + std::count(line.begin(), line.end(), '\t');
  if (count < 3 || count > static_cast<ptrdiff_t>(kMostFields)) {
    return "the line has " + std::to_string(count) +
           " fields, not URL, MIME type, path and perhaps date and source, with tabs between them";
  }
  if (fields[0].empty() || fields[2].empty()) {
    return fields[0].empty() ? "the URL is empty" : "the path is empty";
  }
  if (!is_known_mime(fields[1])) {
    return "unknown MIME type '" + fields[1] + "'; text/plain and text/html are known";
  }
  if (fields.size() > 3 && !fields[3].empty() && !is_date(fields[3])) {
    return "the date '" + fields[3] + "' is not 8 digits";
  }
  return "";
}

Input refused(const std::string& name, const std::string& reason) {
  Input input;
  input.name = name;
  input.refusal = reason;
  return input;
}

Input listed_file(const std::string& line, const std::string& place, const InputOptions& options) {
  const std::vector<std::string> fields = split(line);
  const std::string refusal = refusal_of(line, fields);
  if (!refusal.empty()) {
    return refused(place, refusal);
  }
  Input input;
  input.name = fields[2];
  input.file = fields[2];
  input.url = fields[0];
  input.mime = fields[1];
  input.date = fields.size() > 3 ? fields[3] : options.date;
  input.source = fields.size() > 4 ? fields[4] : options.source;
  return input;
}

}  // namespace

std::optional<Input> InputLines::next() {
  if (ended_) {
    return std::nullopt;
  }
  std::string line;
  const std::string place = name_ + ":" + std::to_string(++number_);
  try {
    switch (bytes_.line(line, kMostLine)) {
      case ByteReader::kNone:
        ended_ = true;
        return std::nullopt;
      case ByteReader::kTooLong:
        return refused(place, "the line has more than " + std::to_string(kMostLine) +
                                  " bytes; a longer text has to be a file of its own");
      default:
        return format_ == InputFormat::kJsonLines ? article_of_line(line, place, options_)
                                                  : listed_file(line, place, options_);
    }
  } catch (const Unreadable& unreadable) {
    ended_ = true;
    return refused(place, unreadable.reason);
  }
}

}  // namespace cli
