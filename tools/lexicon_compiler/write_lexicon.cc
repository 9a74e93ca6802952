#include "tools/lexicon_compiler/write_lexicon.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <memory>

#include "fst/ostrenfst.h"
#include "tools/lexicon_compiler/att_text.h"
#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/search_bound.h"

namespace lexicon_compiler {

namespace {

// Entries that a search may need at most. The look iterator has room for
// LK_LOOK_STACK_SIZE; the difference is a margin.
constexpr int kMaxSearchEntries = 400;

struct FstFree {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};

void WriteFile(const std::string& text, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) {
    throw BuildError("cannot write " + path);
  }
}

// Has the engine read the text and write its binary form.
void ConvertToBinary(const std::string& att_path, const std::string& binary_path) {
  const std::unique_ptr<LkFst, FstFree> fst(lk_fst_new_from_att_file(att_path.c_str()));
  if (fst == nullptr) {
    throw BuildError("the engine does not read " + att_path);
  }
  if (lk_fst_save_to_binary_file(fst.get(), binary_path.c_str()) != 0) {
    throw BuildError("cannot write " + binary_path);
  }
}

// FNV-1a, 64 bits.
std::string Fingerprint(const std::string& text) {
  uint64_t hash = 0xcbf29ce484222325u;
  for (const char c : text) {
    hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001b3u;
  }
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016" PRIx64, hash);
  return digits;
}

}  // namespace

Written WriteLexicon(const Transducer& lexicon, const std::string& att_path,
                     const std::string& binary_path) {
  const int entries = SearchBound(lexicon);
  if (entries > kMaxSearchEntries) {
    throw BuildError("a search can need " + std::to_string(entries) + " open entries; at most " +
                     std::to_string(kMaxSearchEntries) + " are safe");
  }
  const std::string text = AttText(lexicon);
  WriteFile(text, att_path);
  ConvertToBinary(att_path, binary_path);
  const auto size = std::ifstream(binary_path, std::ios::ate | std::ios::binary).tellg();
  return {std::to_string(lexicon.states.size()) + " states, " +
              std::to_string(lexicon.CountArcs()) + " arcs, at most " + std::to_string(entries) +
              " open search entries, " + std::to_string(size) + " bytes",
          Fingerprint(text)};
}

}  // namespace lexicon_compiler
