// Pages of any bytes, under several MIME types: the text is UTF-8 without zero bytes and
// bounded by the page, a refusal says why, and no byte beyond the page is read.
#include <string>

#include "tests/fuzz/check.h"
#include "tests/fuzz/guarded.h"
#include "text/utf8.h"
#include "text/web_page.h"

namespace {

using fenra_fuzz::Guarded;
using ostren::fenra::text::is_valid_utf8;
using ostren::fenra::text::web_page_to_text;

void convert(const Guarded& page, size_t size, const char* mime_type) {
  std::string text = "before";
  std::string reason;
  if (web_page_to_text({page.data(), size}, mime_type, &text, &reason)) {
    FUZZ_CHECK(is_valid_utf8(text) && !text.empty());
    FUZZ_CHECK(text.find('\0') == std::string::npos);
    // A byte that is invalid becomes three.
    FUZZ_CHECK(text.size() <= 3 * size);
  } else {
    FUZZ_CHECK(text == "before");
    FUZZ_CHECK(!reason.empty());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Guarded behind(data, size, Guarded::kGuardBehind);
  for (const char* mime_type :
       {"text/html", "application/xhtml+xml; charset=utf-8", "text/plain",
        "text/html; charset=utf-16le", "text/html;charset=gbk", "text/plain;charset=latin1"}) {
    convert(behind, size, mime_type);
  }
  // The page as its own type.
  const std::string type(data, data + size);
  convert(behind, size, type.c_str());
  return 0;
}
