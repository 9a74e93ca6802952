// Stands in for the fuzzing engine in every test run: gives a target its committed
// inputs, and then random mutations of them.
//
// usage: TARGET CORPUS_DIRECTORY
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
constexpr unsigned long kMutations = 3000;

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

class Mutator {
 public:
  Mutator(const std::vector<Input>& corpus, unsigned long seed) : corpus_(corpus), random_(seed) {}

  Input next() {
    Input input = corpus_[below(corpus_.size())];
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
    switch (below(6)) {
      case 0:  // another byte
        if (at < input->size()) {
          (*input)[at] = static_cast<char>(random_());
        }
        break;
      case 1:  // another bit
        if (at < input->size()) {
          (*input)[at] = static_cast<char>((*input)[at] ^ (1 << below(8)));
        }
        break;
      case 2:
        input->insert(at, 1, static_cast<char>(random_()));
        break;
      case 3:
        input->erase(at, length);
        break;
      case 4:  // a piece once more, at another place
        input->insert(below(input->size() + 1), input->substr(at, length));
        break;
      default: {  // the end of another input
        const Input& other = corpus_[below(corpus_.size())];
        input->replace(at, std::string::npos, other.substr(below(other.size() + 1)));
      }
    }
  }

  const std::vector<Input>& corpus_;
  std::mt19937_64 random_;
};

class Runner {
 public:
  explicit Runner(const std::string& target) : path_(target + ".input") {}
  ~Runner() { std::filesystem::remove(path_); }
  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  void run(const Input& input) const {
    std::ofstream(path_, std::ios::binary) << input;
    // A copy without spare room, so that a sanitizer sees reads past its end.
    const std::vector<uint8_t> bytes(input.begin(), input.end());
    FUZZ_CHECK(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()) == 0);
  }

 private:
  std::string path_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " CORPUS_DIRECTORY\n";
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
  const Runner runner(std::filesystem::path(argv[0]).filename());
  for (const Input& input : corpus) {
    runner.run(input);
  }
  Mutator mutator(corpus, seed);
  for (unsigned long i = 0; i < mutations; ++i) {
    runner.run(mutator.next());
  }
  return 0;
}
