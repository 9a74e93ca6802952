// Transducer files: whatever a file says, it is refused, or sorting, dumping and
// searching stay inside its block and end.
//
// An input is a byte of flags, the length of a word (its low 5 bits), the word,
// and the rest: a file (kWholeFile), or the cells of a block that gets a fitting
// header, whose counts of states and arcs come from the first 4 bytes.
#include <sys/mman.h>
#include <unistd.h>

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

enum : uint8_t { kWholeFile = 1, kSortedLower = 2, kSortedUpper = 4, kSave = 8 };

struct FstFree {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};
using Fst = std::unique_ptr<LkFst, FstFree>;

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

std::string image(const Fst& fst) {
  return std::string(reinterpret_cast<const char*>(fst.get()), sizeof(LkFst) + fst->data_size);
}

// Looks the word up and down; as a word with its first byte only and the empty one
// as well, whose searches are more likely to be complete.
void search_both_ways(const Fst& fst, const std::string& word) {
  for (const auto direction : {LK_LOOK_UP, LK_LOOK_DOWN}) {
    for (const size_t length : {word.size(), size_t{1}, size_t{0}}) {
      fenra_fuzz::search(fst.get(), word.substr(0, length), direction);
    }
  }
}

// Sorting decides the order of results, and nothing else. Bytes 1 and 2 are special
// labels, which only a search of sorted arcs takes.
void check_search_after_sorting(const Fst& fst, const std::string& word, LkLookDirection order) {
  if (std::any_of(word.begin(), word.end(), [](char c) { return c == 1 || c == 2; })) {
    return;
  }
  auto sorted = fenra_fuzz::search(fst.get(), word, order);
  const int32_t flags = fst->flags;
  fst->flags = 0;
  auto scanned = fenra_fuzz::search(fst.get(), word, order);
  fst->flags = flags;
  if (sorted.complete && scanned.complete) {
    std::sort(sorted.found.begin(), sorted.found.end());
    std::sort(scanned.found.begin(), scanned.found.end());
    FUZZ_CHECK(sorted.found == scanned.found);
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
  const size_t rest_size = size - 2 - word_length;

  static const MemoryFile file;
  const bool whole = (flags & kWholeFile) != 0;
  file.write(whole ? std::string(rest, rest + rest_size) : with_header(flags, rest, rest_size));
  const Fst fst(lk_fst_new_from_binary_file(file.path()));
  FUZZ_CHECK(whole || fst != nullptr);
  if (fst == nullptr) {
    return 0;
  }
  FUZZ_CHECK(fst->node_size == sizeof(Node) && fst->edge_size == sizeof(Edge));
  FUZZ_CHECK(lk_fst_debug_write(fst.get()) == 0);
  search_both_ways(fst, word);
  const bool regular = fenra_fuzz::is_regular(*fst);
  for (const auto order : {LK_LOOK_UP, LK_LOOK_DOWN}) {
    lk_fst_sort(fst.get(), order);
    search_both_ways(fst, word);
    if (regular) {
      check_search_after_sorting(fst, word, order);
    }
    const std::string once = image(fst);
    lk_fst_sort(fst.get(), order);
    FUZZ_CHECK(!regular || image(fst) == once);
  }
  if ((flags & kSave) != 0) {
    static const MemoryFile saved;
    FUZZ_CHECK(lk_fst_save_to_binary_file(fst.get(), saved.path()) == 0);
    const Fst loaded(lk_fst_new_from_binary_file(saved.path()));
    FUZZ_CHECK(loaded != nullptr && image(loaded) == image(fst));
  }
  return 0;
}
