// Compiles the lexicon: from the printed transducer of a morphological dictionary
// to the binary transducer file that the library embeds.
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/lexicon.h"
#include "tools/lexicon_compiler/source_lexicon.h"
#include "tools/lexicon_compiler/vocabulary.h"
#include "tools/lexicon_compiler/write_lexicon.h"

namespace lexicon_compiler {
namespace {

Vocabulary ReadVocabulary(const char* path) {
  std::ifstream printed(path);
  if (!printed) {
    throw BuildError(std::string("cannot open ") + path);
  }
  return ExtractVocabulary(ReadSections(printed));
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
  const Written written = WriteLexicon(lexicon, att_path, binary_path);
  std::cout << "lexicon: " << vocabulary.lemmas.size() << " lemmas, " << written.summary << "\n";
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
