// The rewriting operations with patterns of many forms, over any subject, into
// outputs of any capacity.
//
// An input is the number of a pattern, two bytes of capacity (little-endian), the
// length of the inserted bytes (its low 4 bits; bit 7: as much capacity as the
// result can need), these bytes, and the subject.
#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "tests/fuzz/check.h"
#include "tests/fuzz/guarded.h"
#include "tests/text/reference.h"
#include "text/articledb_util.h"

namespace {

using fenra_fuzz::Guarded;

struct TestedPattern {
  const char* source;
  bool plain;  // searches go forward and matches end where characters do
};
constexpr TestedPattern kPatterns[] = {
    {">([^<]*)<", true},
    {R"(\s+)", true},
    {"&[0-9a-zA-Z#]*;", true},
    {"(a)|(b)", true},
    {"(?:(a)|b)", true},
    {"(a|ab)(?:c|bcd)(d*)", true},
    {"(.)", true},
    {"(.*?)", true},
    {R"((?<=(\w))\W)", true},
    {R"(\b(\w+)\b)", true},
    {"(?:a|(\\x{100}))+", true},
    {"(k|s)", true},
    {"(?:(?:a|b)*)*c", true},
    {R"((?=(\w+))\w)", true},
    {R"((?=ab\K))", false},
    {R"((?<=\Ka))", false},
    {R"(a\K(b)?)", false},
    {R"((\C))", false},
    {R"((?<=(.))\C)", false},
    {R"(\X(a)?)", true},
    {R"(^(.)|$)", true},
    {"(a+)+$", true},
};

const pcre* compiled(size_t number) {
  static const pcre* codes[std::size(kPatterns)];
  if (codes[number] == nullptr) {
    codes[number] = articledb_regex_new(kPatterns[number].source);
    FUZZ_CHECK(codes[number] != nullptr);
  }
  return codes[number];
}

// What one operation wrote; nothing when it failed.
using Operation = std::function<int(char* output, int* capacity)>;
std::optional<std::string> run(size_t capacity, const Operation& operation) {
  std::vector<char> output(capacity);
  int written = static_cast<int>(capacity);
  const int status = operation(output.data(), &written);
  FUZZ_CHECK(status >= 0 && status <= 2);
  if (status != ARTICLEDB_REGEX_OK) {
    FUZZ_CHECK(written == static_cast<int>(capacity));
    return std::nullopt;
  }
  FUZZ_CHECK(written >= 0 && (static_cast<size_t>(written) < capacity || written == 0));
  return std::string(output.data(), static_cast<size_t>(written));
}

std::optional<std::string> reference_sub(const char* pattern, const std::string& subject,
                                         const std::string& inserted, size_t capacity) try {
  return text_reference::replace(pattern, subject, capacity, text_reference::fixed(inserted));
} catch (const text_reference::Refused&) {
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 4) {
    return 0;
  }
  const size_t number = data[0] % std::size(kPatterns);
  const bool plain = kPatterns[number].plain;
  const pcre* const code = compiled(number);
  const size_t length = std::min<size_t>(data[3] & 15, size - 4);
  const std::string inserted(data + 4, data + 4 + length);
  const std::string subject(data + 4 + length, data + size);
  // A match for every byte and one at the end.
  const size_t ample = subject.size() + (subject.size() + 1) * (length + 1) + 1;
  const size_t given = data[1] + size_t{256} * data[2];
  const size_t capacity = (data[3] & 128) != 0 ? ample : std::min(given, ample);
  const Guarded guarded(data + 4 + length, subject.size(),
                        (data[3] & 64) != 0 ? Guarded::kGuardBefore : Guarded::kGuardBehind);
  const char* const bytes = guarded.data();
  const int bytes_length = static_cast<int>(subject.size());

  const int inserted_length = static_cast<int>(length);
  const auto extracted = run(capacity, [&](char* output, int* room) {
    return articledb_regex_extract(code, bytes, bytes_length, inserted.data(), inserted_length,
                                   output, room);
  });
  const auto replaced = run(capacity, [&](char* output, int* room) {
    return articledb_regex_sub(code, bytes, bytes_length, inserted.data(), inserted_length, output,
                               room);
  });
  if (!text_reference::is_valid_utf8(subject)) {
    FUZZ_CHECK(!extracted && !replaced);
    return 0;
  }
  if (plain) {
    FUZZ_CHECK(!text_reference::is_valid_utf8(inserted) ||
               ((!replaced || text_reference::is_valid_utf8(*replaced)) &&
                (!extracted || text_reference::is_valid_utf8(*extracted))));
    if (subject.size() <= 512) {
      FUZZ_CHECK(reference_sub(kPatterns[number].source, subject, inserted, capacity) == replaced);
    }
  }
  return 0;
}
