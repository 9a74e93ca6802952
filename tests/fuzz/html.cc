// HTML conversion of any bytes: machine code, interpreter and the plain patterns
// agree, nothing is written but the text, and every capacity that the text does
// not fit is refused.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "tests/fuzz/check.h"
#include "tests/fuzz/guarded.h"
#include "tests/text/reference.h"
#include "tests/text/support.h"
#include "text/articledb_util.h"

namespace {

using fenra_fuzz::Guarded;

// The plain patterns take time up to the cube of the length.
constexpr size_t kMostForReference = 256;

std::optional<std::string> convert(const char* html, size_t size, size_t capacity) {
  std::vector<char> output(capacity, '\x01');
  int written = static_cast<int>(capacity);
  if (articledb_html_to_txt(html, static_cast<int>(size), output.data(), &written) != 0) {
    FUZZ_CHECK(written == static_cast<int>(capacity));
    written = 0;
    FUZZ_CHECK(std::count(output.begin(), output.end(), '\x01') ==
               static_cast<ptrdiff_t>(capacity));
    return std::nullopt;
  }
  FUZZ_CHECK(written >= 0 && static_cast<size_t>(written) < capacity);
  FUZZ_CHECK(std::all_of(output.begin() + written, output.end(), [](char c) { return c == 1; }));
  return std::string(output.data(), static_cast<size_t>(written));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string html(data, data + size);
  pcre_seam::interpreter_only = false;
  const Guarded behind(data, size, Guarded::kGuardBehind);
  const auto text = convert(behind.data(), size, size);
  pcre_seam::interpreter_only = true;
  const Guarded before(data, size, Guarded::kGuardBefore);
  FUZZ_CHECK(convert(before.data(), size, size) == text);

  const bool valid = text_reference::is_valid_utf8(html);
  FUZZ_CHECK(valid || !text.has_value());
  if (text) {
    FUZZ_CHECK(convert(behind.data(), size, text->size() + 1) == text);
    FUZZ_CHECK(!convert(behind.data(), size, text->size()));
  }
  if (valid && size <= kMostForReference) {
    FUZZ_CHECK(text_reference::reference_html_to_txt(html) == text);
  }
  return 0;
}
