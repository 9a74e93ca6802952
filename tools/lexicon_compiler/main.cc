// Compiles the lexicon: from the printed transducer of a morphological dictionary
// to the binary transducer file that the library embeds.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "fst/ostrenfst.h"
#include "tools/lexicon_compiler/att_text.h"
#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/lexicon.h"
#include "tools/lexicon_compiler/search_bound.h"
#include "tools/lexicon_compiler/source_lexicon.h"
#include "tools/lexicon_compiler/vocabulary.h"

namespace lexicon_compiler {
namespace {

// Entries that a search may need at most. The look iterator has room for
// LK_LOOK_STACK_SIZE; the difference is a margin.
constexpr int kMaxSearchEntries = 400;

struct FstFree {
  void operator()(LkFst* fst) const { lk_fst_free(fst); }
};

Vocabulary ReadVocabulary(const char* path) {
  std::ifstream printed(path);
  if (!printed) {
    throw BuildError(std::string("cannot open ") + path);
  }
  return ExtractVocabulary(ReadSections(printed));
}

void WriteFile(const std::string& text, const char* path) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) {
    throw BuildError(std::string("cannot write ") + path);
  }
}

// Has the engine read the text and write its binary form.
void ConvertToBinary(const char* att_path, const char* binary_path) {
  const std::unique_ptr<LkFst, FstFree> fst(lk_fst_new_from_att_file(att_path));
  if (fst == nullptr) {
    throw BuildError(std::string("the engine does not read ") + att_path);
  }
  if (lk_fst_save_to_binary_file(fst.get(), binary_path) != 0) {
    throw BuildError(std::string("cannot write ") + binary_path);
  }
}

void Compile(const char* printed_path, const char* att_path, const char* binary_path) {
  const Vocabulary vocabulary = ReadVocabulary(printed_path);
  for (const std::string& tag : vocabulary.unknown_tags) {
    std::cerr << "warning: words with the unknown tag " << tag << " are left out\n";
  }
  if (vocabulary.lemmas.empty()) {
    throw BuildError(std::string("no words in ") + printed_path);
  }
  const Transducer lexicon = BuildLexicon(vocabulary);
  const int entries = SearchBound(lexicon);
  if (entries > kMaxSearchEntries) {
    throw BuildError("a search can need " + std::to_string(entries) + " open entries; at most " +
                     std::to_string(kMaxSearchEntries) + " are safe");
  }
  WriteFile(AttText(lexicon), att_path);
  ConvertToBinary(att_path, binary_path);
  const auto size = std::ifstream(binary_path, std::ios::ate | std::ios::binary).tellg();
  std::cout << "lexicon: " << vocabulary.lemmas.size() << " lemmas, " << lexicon.states.size()
            << " states, " << lexicon.CountArcs() << " arcs, at most " << entries
            << " open search entries, " << size << " bytes\n";
}

}  // namespace
}  // namespace lexicon_compiler

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s PRINTED_DICTIONARY ATT_OUTPUT BINARY_OUTPUT\n", argv[0]);
    return 2;
  }
  try {
    lexicon_compiler::Compile(argv[1], argv[2], argv[3]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
  return 0;
}
