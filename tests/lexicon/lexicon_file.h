// Small lexicon files for tests.
#ifndef FENRA_TESTS_LEXICON_LEXICON_FILE_H
#define FENRA_TESTS_LEXICON_LEXICON_FILE_H

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace fenra_test {

// A directory of its own, removed with everything in it.
class TemporaryDirectory {
 public:
  ~TemporaryDirectory() { std::filesystem::remove_all(path_); }

  std::string Path(const std::string& name) const { return path_ + '/' + name; }

  // The path of a new file, whose folders are made as well.
  std::string Write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

 private:
  static std::string Make() {
    std::string name = std::filesystem::temp_directory_path() / "lexicon_test_XXXXXX";
    return mkdtemp(name.data());
  }
  const std::string path_ = Make();
};

// AT&T text with a chain of arcs for every pair of a word and its output. A word
// may come twice; its results keep their order when it sorts before the others.
inline std::string AttText(const std::vector<std::pair<std::string, std::string>>& pairs) {
  std::string start_arcs;
  std::string arcs;
  std::string finals;
  int states = 1;
  for (const auto& [word, output] : pairs) {
    int source = 0;
    for (size_t i = 0; i < std::max(word.size(), output.size()); ++i) {
      const auto label = [i](const std::string& text) {
        return std::to_string(i < text.size() ? static_cast<unsigned char>(text[i]) : 0);
      };
      (i == 0 ? start_arcs : arcs) += std::to_string(source) + ' ' + std::to_string(states) + ' ' +
                                      label(output) + ' ' + label(word) + '\n';
      source = states++;
    }
    finals += std::to_string(source) + '\n';
  }
  std::string text = start_arcs + arcs + finals + "0 @0@\n";
  for (int label = 3; label < 256; ++label) {
    text += std::to_string(label) + ' ' + static_cast<char>(label) + '\n';
  }
  return text;
}

}  // namespace fenra_test

#endif  // FENRA_TESTS_LEXICON_LEXICON_FILE_H
