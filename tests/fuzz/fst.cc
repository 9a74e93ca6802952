// Transducer files: whatever a file says, it is refused, or sorting, dumping and
// searching stay inside its block and end.
//
// An input is a byte of flags, the length of a word (its low 5 bits), the word,
// and the rest: a file (kWholeFile), or the cells of a block that gets a fitting
// header, whose counts of states and arcs come from the first 4 bytes, or AT&T text up to its
// first zero byte (kText).
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "tests/fst/fst_test_util.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/exit_trap.h"
#include "tests/fuzz/guarded.h"

namespace {

enum : uint8_t { kWholeFile = 1, kSortedLower = 2, kSortedUpper = 4, kSave = 8, kText = 16 };

// A file in memory, used again and again.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("fst", 0)) {
    FUZZ_CHECK(descriptor_ >= 0);
    path_ = "/proc/self/fd/" + std::to_string(descriptor_);
  }
  void write(const std::string& bytes) const {
    FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
    FUZZ_CHECK(pwrite(descriptor_, bytes.data(), bytes.size(), 0) ==
               static_cast<ssize_t>(bytes.size()));
  }
  const char* path() const { return path_.c_str(); }

 private:
  int descriptor_;
  std::string path_;
};

// Texts with a state number from here up to the largest one that is accepted are
// passed over: all states below it exist, and take memory.
constexpr uint64_t kManyStates = 20000;
constexpr uint64_t kStatesLimit = uint64_t{1} << 26;

bool has_many_states(const std::string& text) {
  uint64_t number = 0;
  for (const char c : text + " ") {
    if (c >= '0' && c <= '9') {
      number = std::min(number * 10 + static_cast<uint64_t>(c - '0'), kStatesLimit);
    } else if (number >= kManyStates && number < kStatesLimit) {
      return true;
    } else {
      number = 0;
    }
  }
  return false;
}

// What the text is accepted as; null otherwise.
LkFst* from_text(const std::string& text) {
  LkFst* fst = nullptr;
  return has_many_states(text) ||
                 !fenra_fuzz::survives([&] { fst = lk_fst_new_from_att_string(text.c_str()); })
             ? nullptr
             : fst;
}

std::string with_header(uint8_t flags, const uint8_t* data, size_t size) {
  uint16_t counts[2] = {};
  memcpy(counts, data, std::min(size, sizeof counts));
  const size_t cells = size - std::min(size, sizeof counts);
  const int32_t sorted = ((flags & kSortedLower) != 0 ? LK_FST_SORTED_LOWER : 0) |
                         ((flags & kSortedUpper) != 0 ? LK_FST_SORTED_UPPER : 0);
  const LkFst header = {
      static_cast<NodeIndex>(cells), counts[0], sizeof(Node), counts[1], sizeof(Edge), sorted};
  std::string image(reinterpret_cast<const char*>(&header), sizeof header);
  return image.append(data + (size - cells), data + size);
}

// The expansions that the running search has left. Later ones push nothing, so
// that the search ends.
int expansions_left;
TransitionPusher push;  // the engine's

void push_bounded(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  if (--expansions_left >= 0) {
    push(stack, state, fst, node);
  }
}

// Looks the word up and down; as a word with its first byte only and the empty one
// as well, whose searches are more likely to be complete.
void search_both_ways(LkFst* fst, const std::string& word) {
  static LkLookIterator iterator;
  for (const auto direction : {LK_LOOK_UP, LK_LOOK_DOWN}) {
    for (const size_t length : {word.size(), size_t{1}, size_t{0}}) {
      const std::string part = word.substr(0, length);
      expansions_left = 2000;
      fenra_fuzz::survives([&] {
        lk_look_iterator_init(&iterator, fst, part.c_str(), direction);
        push = std::exchange(iterator.push_transitions, push_bounded);
        int results = 200;
        for (char result[64];
             --results >= 0 && lk_look_iterator_next(&iterator, result, 64) != 0;) {
        }
      });
    }
  }
}

void use(LkFst* fst, const std::string& word) {
  FUZZ_CHECK(lk_fst_debug_write(fst) == 0);
  search_both_ways(fst, word);
  for (const auto order : {LK_LOOK_UP, LK_LOOK_DOWN}) {
    lk_fst_sort(fst, order);
    search_both_ways(fst, word);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fenra_fuzz::silence_stdio();
  if (size < 2) {
    return 0;
  }
  const uint8_t flags = data[0];
  const size_t word_length = std::min<size_t>(data[1] & 31, size - 2);
  const std::string word(data + 2, data + 2 + word_length);
  const uint8_t* const rest = data + 2 + word_length;
  const bool whole = (flags & kWholeFile) != 0;
  static const MemoryFile file;
  const bool is_text = (flags & kText) != 0;
  file.write(whole ? std::string(rest, data + size) : with_header(flags, rest, data + size - rest));
  const Fst fst(is_text ? from_text(std::string(rest, data + size))
                        : lk_fst_new_from_binary_file(file.path()));
  FUZZ_CHECK(whole || is_text || fst != nullptr);
  FUZZ_CHECK(!is_text || fst == nullptr ||
             (fst->data_size % sizeof(Edge) == 0 && fst->flags == LK_FST_SORTED_LOWER));
  if (fst == nullptr) {
    return 0;
  }
  FUZZ_CHECK(fst->node_size == sizeof(Node) && fst->edge_size == sizeof(Edge));
  // Without sanitizers too, a read far enough behind the block faults.
  std::string copy = image(fst);
  copy.resize((copy.size() + 7) / 8 * 8);
  const fenra_fuzz::Guarded guarded(reinterpret_cast<const uint8_t*>(copy.data()), copy.size(),
                                    fenra_fuzz::Guarded::kGuardBehind);
  use(reinterpret_cast<LkFst*>(guarded.data()), word);
  use(fst.get(), word);
  if ((flags & kSave) != 0) {
    static const MemoryFile saved;
    FUZZ_CHECK(lk_fst_save_to_binary_file(fst.get(), saved.path()) == 0);
    const Fst loaded(lk_fst_new_from_binary_file(saved.path()));
    FUZZ_CHECK(loaded != nullptr && image(loaded) == image(fst));
  }
  return 0;
}
