// Checks that a binary transducer file can be embedded, and copies it: no search
// of any word may come near the end of the search stack, which would end the
// process, or take longer than the lemmatizer waits.
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "fst/ostrenfst.h"
#include "lexicon/first_result.h"
#include "tools/lexicon_check/search_cost.h"

namespace {

// The look iterator has room for LK_LOOK_STACK_SIZE; the difference is a margin.
constexpr int kMaxOpenEntries = 400;

std::string Check(const char* path, lexicon_check::SearchCost* cost) {
  const std::unique_ptr<LkFst, void (*)(LkFst*)> fst(lk_fst_new_from_binary_file(path),
                                                     lk_fst_free);
  if (fst == nullptr) {
    return "it is not a binary transducer file";
  }
  std::string fault = lexicon_check::MeasureSearchCost(fst.get(), cost);
  if (!fault.empty()) {
    return fault;
  }
  if (cost->open_entries > kMaxOpenEntries) {
    return "a search can need " + std::to_string(cost->open_entries) + " open entries; at most " +
           std::to_string(kMaxOpenEntries) + " are safe";
  }
  if (cost->expansions > Pelko::MAX_EXPANSIONS) {
    return "a search can take more than " + std::to_string(Pelko::MAX_EXPANSIONS) + " steps";
  }
  return "";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s TRANSDUCER COPY\n", argv[0]);
    return 2;
  }
  lexicon_check::SearchCost cost;
  const std::string fault = Check(argv[1], &cost);
  if (!fault.empty()) {
    std::fprintf(stderr, "%s cannot be embedded: %s\n", argv[1], fault.c_str());
    return 1;
  }
  std::error_code error;
  std::filesystem::copy_file(argv[1], argv[2], std::filesystem::copy_options::overwrite_existing,
                             error);
  if (error) {
    std::fprintf(stderr, "%s: %s\n", argv[2], error.message().c_str());
    return 1;
  }
  std::printf("lexicon: at most %d open search entries and %.0f steps a search\n",
              cost.open_entries, cost.expansions);
  return 0;
}
