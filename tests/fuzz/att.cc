// AT&T text: it is refused, or gives a block as the format has it.
//
// An input is the text, up to its first zero byte.
#include <algorithm>
#include <string>

#include "fst/ostrenfst.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/exit_trap.h"
#include "tools/lexicon_check/search_cost.h"

namespace {

// Texts with a state number from here up to the largest one that is accepted are
// passed over: all states below it exist, and take memory.
constexpr uint64_t kManyStates = 20000;
constexpr uint64_t kStatesLimit = uint64_t{1} << 26;

bool has_many_states(const std::string& text) {
  uint64_t number = 0;
  for (const char c : text + " ") {
    if (c >= '0' && c <= '9') {
      number = std::min(number * 10 + static_cast<uint64_t>(c - '0'), kStatesLimit);
    } else {
      if (number >= kManyStates && number < kStatesLimit) {
        return true;
      }
      number = 0;
    }
  }
  return false;
}

// Sound to whoever looks at what is to be embedded, but that searches may not end.
void check_block(LkFst* fst) {
  lexicon_check::SearchCost cost;
  const std::string fault = MeasureSearchCost(fst, &cost);
  FUZZ_CHECK(fault.empty() || fault.find("cycle") != std::string::npos ||
             fault.rfind("a state has ", 0) == 0);
  FUZZ_CHECK(fst->data_size % sizeof(Edge) == 0 && fst->flags == LK_FST_SORTED_LOWER);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fenra_fuzz::silence_stdio();
  const std::string text(data, std::find(data, data + size, uint8_t{0}));
  LkFst* fst = nullptr;
  if (has_many_states(text) ||
      !fenra_fuzz::survives([&] { fst = lk_fst_new_from_att_string(text.c_str()); }) ||
      fst == nullptr) {
    return 0;
  }
  check_block(fst);
  lk_fst_sort(fst, LK_LOOK_DOWN);
  lk_fst_sort(fst, LK_LOOK_UP);
  check_block(fst);
  lk_fst_free(fst);
  return 0;
}
