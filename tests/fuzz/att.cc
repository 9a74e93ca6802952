// AT&T text: it is refused, or gives a block as the format has it, in which every
// walk from the start state to a final one is found, up and down.
//
// An input is the text, up to its first zero byte, and the steps of a walk.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fst/ostrenfst.h"
#include "tests/fuzz/block.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/search.h"

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

void check_block(const LkFst& fst) {
  FUZZ_CHECK(fst.data_size % sizeof(Edge) == 0);
  FUZZ_CHECK(fst.node_size == sizeof(Node) && fst.edge_size == sizeof(Edge));
  FUZZ_CHECK(fst.flags == LK_FST_SORTED_LOWER);
  FUZZ_CHECK(fenra_fuzz::is_regular(fst) && fenra_fuzz::is_sorted_on_lower(fst));
}

struct Walk {
  std::string lower, upper;
  bool complete;  // ends in a final state
};

// A walk that takes the arcs that `steps` says and goes no further than to the
// last final state that it comes to.
Walk walk(const LkFst& fst, const std::string& steps) {
  Walk reached{"", "", (fst.data[0].bits & EDGE_IS_FINAL) != 0};
  Walk going = reached;
  NodeIndex head = 0;
  for (const char step : steps) {
    const EdgeCount count = fst.data[head].edge_count;
    if (count == 0) {
      break;
    }
    const Edge& edge = fst.data[head + static_cast<uint8_t>(step) % count];
    going.lower.append(edge.lower != 0 ? 1 : 0, static_cast<char>(edge.lower));
    going.upper.append(edge.upper != 0 ? 1 : 0, static_cast<char>(edge.upper));
    head = edge.bits >> EDGE_NEXT_SHIFT;
    if ((fst.data[head].bits & EDGE_IS_FINAL) != 0) {
      reached = going;
      reached.complete = true;
    }
  }
  return reached;
}

// A search of arcs that are not sorted for it passes over the special labels.
bool has_special_labels(const std::string& word) {
  return std::any_of(word.begin(), word.end(), [](char c) { return c == 1 || c == 2; });
}

void check_found(LkFst* fst, const std::string& word, const std::string& result,
                 LkLookDirection direction) {
  const fenra_fuzz::SearchResult search = fenra_fuzz::search(fst, word, direction);
  FUZZ_CHECK(!search.complete || std::find(search.found.begin(), search.found.end(),
                                           result.substr(0, 63)) != search.found.end());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fenra_fuzz::silence_stdio();
  const uint8_t* const end = std::find(data, data + size, uint8_t{0});
  const std::string text(data, end);
  const std::string steps(end, data + size);
  if (has_many_states(text)) {
    return 0;
  }
  LkFst* loaded = nullptr;
  if (!fenra_fuzz::survives([&] { loaded = lk_fst_new_from_att_string(text.c_str()); })) {
    return 0;
  }
  const std::unique_ptr<LkFst, decltype(&lk_fst_free)> fst(loaded, lk_fst_free);
  if (fst == nullptr) {
    return 0;
  }
  check_block(*fst);
  const Walk found = walk(*fst, steps);
  if (found.complete) {
    check_found(fst.get(), found.lower, found.upper, LK_LOOK_UP);
    if (!has_special_labels(found.upper)) {
      check_found(fst.get(), found.upper, found.lower, LK_LOOK_DOWN);
    }
    lk_fst_sort(fst.get(), LK_LOOK_DOWN);
    check_found(fst.get(), found.upper, found.lower, LK_LOOK_DOWN);
    lk_fst_sort(fst.get(), LK_LOOK_UP);
    check_block(*fst);
  }
  return 0;
}
