// Stands in for the fuzzing engine in every test run: gives a target its committed
// inputs, and then random mutations of them and random rows of the dictionary's
// pieces, when there is one.
//
// usage: TARGET CORPUS_DIRECTORY [DICTIONARY]
//
// The mutations are the same in every run; FENRA_TEST_SEED varies them and
// FENRA_FUZZ_MUTATIONS says how many there are. The input under test stands in the
// file TARGET.input of the working directory, which a failed run leaves behind.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "tests/fuzz/check.h"

namespace {

using Input = std::string;

constexpr unsigned long kSeed = 20080101;
constexpr unsigned long kMutations = 10000;

unsigned long setting(const char* name, unsigned long otherwise) {
  const char* const given = getenv(name);
  return given != nullptr ? strtoul(given, nullptr, 10) : otherwise;
}

std::vector<Input> read_corpus(const char* directory) {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<Input> inputs;
  for (const auto& path : paths) {
    std::ifstream file(path, std::ios::binary);
    inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  return inputs;
}

// The pieces between quotation marks, one a line, in which \xNN stands for a byte.
std::vector<Input> read_dictionary(const char* path) {
  std::vector<Input> pieces;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line[0] != '"') {
      continue;
    }
    pieces.emplace_back();
    for (size_t i = 1; i + 1 < line.size(); ++i) {
      const bool escaped = line[i] == '\\';
      pieces.back() +=
          escaped ? static_cast<char>(std::stoi(line.substr(i + 2, 2), nullptr, 16)) : line[i];
      i += escaped ? 3 : 0;
    }
  }
  return pieces;
}

class Mutator {
 public:
  Mutator(const std::vector<Input>& corpus, const std::vector<Input>& pieces, unsigned long seed)
      : corpus_(corpus), pieces_(pieces), random_(seed) {}

  Input next() {
    Input input = corpus_[below(corpus_.size())];
    if (!pieces_.empty() && below(4) != 0) {
      input.resize(below(2) * input.size());
      for (size_t count = below(24); count > 0; --count) {
        input += pieces_[below(pieces_.size())];
      }
      return input;
    }
    for (size_t changes = 1 + below(4); changes > 0; --changes) {
      change(&input);
    }
    return input;
  }

 private:
  size_t below(size_t bound) { return bound == 0 ? 0 : random_() % bound; }

  void change(Input* input) {
    const size_t at = below(input->size() + 1);
    const size_t length = std::min(below(16), input->size() - at);
    const Input& other = corpus_[below(corpus_.size())];
    switch (below(4)) {
      case 0:  // another bit
        if (at < input->size()) {
          (*input)[at] = static_cast<char>((*input)[at] ^ (1 << below(8)));
        }
        break;
      case 1:  // another byte, or none, in the place of some
        input->replace(at, length, below(2), static_cast<char>(random_()));
        break;
      case 2:  // a piece once more, at another place
        input->insert(below(input->size() + 1), input->substr(at, length));
        break;
      default:  // the end of another input
        input->replace(at, Input::npos, other.substr(below(other.size() + 1)));
    }
  }

  const std::vector<Input>& corpus_;
  const std::vector<Input>& pieces_;
  std::mt19937_64 random_;
};

// Runs the target on an input, which stands in the file meanwhile.
void run(const Input& input, const std::string& path) {
  std::ofstream(path, std::ios::binary) << input;
  // A copy without spare room, so that a sanitizer sees reads past its end.
  const std::vector<uint8_t> bytes(input.begin(), input.end());
  FUZZ_CHECK(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()) == 0);
  std::filesystem::remove(path);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: " << argv[0] << " CORPUS_DIRECTORY [DICTIONARY]\n";
    return 2;
  }
  const std::vector<Input> corpus = read_corpus(argv[1]);
  if (corpus.empty()) {
    std::cerr << argv[0] << ": no inputs in " << argv[1] << '\n';
    return 1;
  }
  const unsigned long seed = setting("FENRA_TEST_SEED", kSeed);
  const unsigned long mutations = setting("FENRA_FUZZ_MUTATIONS", kMutations);
  std::cout << corpus.size() << " inputs, " << mutations << " mutations, FENRA_TEST_SEED=" << seed
            << std::endl;
  const std::string file = std::filesystem::path(argv[0]).filename().string() + ".input";
  for (const Input& input : corpus) {
    run(input, file);
  }
  const std::vector<Input> pieces = argc == 3 ? read_dictionary(argv[2]) : std::vector<Input>();
  Mutator mutator(corpus, pieces, seed);
  for (unsigned long i = 0; i < mutations; ++i) {
    run(mutator.next(), file);
  }
  return 0;
}
