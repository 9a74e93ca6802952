// AT&T text: it is refused, or gives a block as the format has it.
//
// An input is the text, up to its first zero byte.
#include <algorithm>
#include <string>
#include <vector>

#include "fst/ostrenfst.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/exit_trap.h"

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

// Whether the marks of the `size` cells at `head` are those of one state.
bool is_state(const Edge* head, NodeIndex size) {
  const bool has_arcs = head->edge_count > 0;
  for (NodeIndex i = 0; i < size; ++i) {
    const bool first = i == 0;
    const bool last = has_arcs && i + 1 == size;
    const NodeIndex bits = head[i].bits;
    if (((bits & EDGE_IS_NODE) != 0) != first || ((bits & EDGE_IS_LAST) != 0) != last ||
        ((bits & EDGE_IS_EDGE) != 0) != has_arcs ||
        (!first && ((bits & EDGE_IS_FINAL) != 0 || head[i].edge_count != 0))) {
      return false;
    }
  }
  return true;
}

// Whether the states, one behind the other, are the arc cells and what follows
// them, every arc leads to the head of one, and the spare cells are zero.
bool is_regular(const LkFst& fst) {
  const NodeIndex cells = fst.data_size / sizeof(Edge);
  std::vector<bool> is_head(cells);
  NodeIndex head = 0;
  for (NodeIndex state = 0; state < fst.node_count; ++state) {
    if (head >= cells || fst.data[head].edge_count > cells - head) {
      return false;
    }
    const NodeIndex size = std::max<NodeIndex>(fst.data[head].edge_count, 1);
    if (!is_state(fst.data + head, size) ||
        (fst.data[head].edge_count > 0) != (head < fst.edge_count)) {
      return false;
    }
    is_head[head] = true;
    head += size;
  }
  const auto leads_to_head = [&](const Edge& edge) {
    const NodeIndex target = edge.bits >> EDGE_NEXT_SHIFT;
    return target < cells && is_head[target];
  };
  const char* const spare = reinterpret_cast<const char*>(fst.data + head);
  const char* const end = reinterpret_cast<const char*>(fst.data) + fst.data_size;
  return fst.node_count > 0 && fst.edge_count <= cells &&
         std::all_of(fst.data, fst.data + fst.edge_count, leads_to_head) &&
         std::all_of(spare, end, [](char byte) { return byte == 0; });
}

// Whether the arcs of every state of a regular block ascend by lower label.
bool is_sorted_on_lower(const LkFst& fst) {
  for (NodeIndex i = 1; i < fst.edge_count; ++i) {
    const bool same_state = (fst.data[i].bits & EDGE_IS_NODE) == 0;
    if (same_state && fst.data[i - 1].lower > fst.data[i].lower) {
      return false;
    }
  }
  return true;
}

void check_block(const LkFst& fst) {
  FUZZ_CHECK(fst.data_size % sizeof(Edge) == 0);
  FUZZ_CHECK(fst.node_size == sizeof(Node) && fst.edge_size == sizeof(Edge));
  FUZZ_CHECK(fst.flags == LK_FST_SORTED_LOWER);
  FUZZ_CHECK(is_regular(fst) && is_sorted_on_lower(fst));
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
  check_block(*fst);
  lk_fst_sort(fst, LK_LOOK_DOWN);
  lk_fst_sort(fst, LK_LOOK_UP);
  check_block(*fst);
  lk_fst_free(fst);
  return 0;
}
