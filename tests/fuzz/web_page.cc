// Pages of any bytes, under several MIME types: the text is UTF-8 without zero bytes and
// bounded by the page, a refusal says why, and no byte beyond the page is read. What is
// short is also tried many times over, which takes linear time.
#include <ctime>
#include <string>

#include "tests/fuzz/check.h"
#include "tests/fuzz/guarded.h"
#include "text/utf8.h"
#include "text/web_page.h"

namespace {

using fenra_fuzz::Guarded;

constexpr size_t kShort = 16;        // bytes of an input that is repeated
constexpr size_t kRepeated = 60000;  // bytes of each of its halves then
constexpr double kSeconds = 2;       // far more than those take, even with sanitizers
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

// As many of the first half as of the second behind them: what opens and what closes.
void repeat_halves(const std::string& page) {
  std::string pages;
  for (const std::string& half : {page.substr(0, page.size() / 2), page.substr(page.size() / 2)}) {
    for (size_t size = 0; size < kRepeated; size += half.size() + 1) {
      pages += half;
    }
  }
  std::string text;
  std::string reason;
  const clock_t before = clock();
  web_page_to_text(pages, "text/html", &text, &reason);
  FUZZ_CHECK(static_cast<double>(clock() - before) / CLOCKS_PER_SEC < kSeconds);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Guarded behind(data, size, Guarded::kGuardBehind);
  for (const char* mime_type :
       {"text/html", "application/xhtml+xml; charset=utf-8", "text/plain",
        "text/html; charset=utf-16le", "text/html;charset=gbk", "text/plain;charset=latin1"}) {
    convert(behind, size, mime_type);
  }
  const std::string page(data, data + size);
  convert(behind, size, page.c_str());  // as its own type
  if (size <= kShort) {
    repeat_halves(page);
  }
  return 0;
}
