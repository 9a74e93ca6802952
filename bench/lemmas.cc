// Lemmas or stems of the words of a file, one a line, with one tool: "fenra",
// "hunspell" or "snowball".
// usage: bench_lemmas TOOL FILE [print]
// Prints the number of words and the seconds; with "print" the result of each word.
#include <fenra/fenra.h>
#include <libstemmer.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <hunspell/hunspell.hxx>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Lemmatize = std::function<std::string(const std::string& word)>;

constexpr double kSeconds = 0.5;

Lemmatize fenra_lemmas() {
  const ostren::fenra::TmpFile lexicon(fstContent, fstContentSize);
  const std::shared_ptr<void> lemmatizer(articledb_simple_fst_lemmatizer_new(lexicon.name()),
                                         articledb_simple_fst_lemmatizer_free);
  return [lemmatizer](const std::string& word) {
    GList* lemmas = articledb_simple_fst_lemmatizer_first_lemma(lemmatizer.get(), word.data(),
                                                                static_cast<int>(word.size()));
    std::string lemma = static_cast<const char*>(lemmas->data);
    articledb_string_list_free(lemmas);
    return lemma;
  };
}

Lemmatize hunspell_stems() {
  const auto hunspell =
      std::make_shared<Hunspell>("/usr/share/hunspell/eu.aff", "/usr/share/hunspell/eu.dic");
  return [hunspell](const std::string& word) {
    const std::vector<std::string> stems = hunspell->stem(word);
    return stems.empty() ? word : stems.front();
  };
}

Lemmatize snowball_stems() {
  const std::shared_ptr<sb_stemmer> stemmer(sb_stemmer_new("basque", "UTF_8"), sb_stemmer_delete);
  return [stemmer](const std::string& word) {
    const sb_symbol* stem =
        sb_stemmer_stem(stemmer.get(), reinterpret_cast<const sb_symbol*>(word.data()),
                        static_cast<int>(word.size()));
    return std::string(reinterpret_cast<const char*>(stem),
                       static_cast<size_t>(sb_stemmer_length(stemmer.get())));
  };
}

Lemmatize tool(const std::string& name) {
  if (name == "fenra") {
    return fenra_lemmas();
  }
  return name == "hunspell" ? hunspell_stems() : snowball_stems();
}

void print_results(const Lemmatize& lemmatize, const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    std::puts(lemmatize(word).c_str());
  }
}

void print_speed(const Lemmatize& lemmatize, const std::vector<std::string>& words) {
  size_t done = 0;
  size_t bytes = 0;
  const Clock::time_point start = Clock::now();
  double seconds = 0;
  while (seconds < kSeconds) {
    // The clock is asked now and then, not at every word.
    for (int i = 0; i < 1000; ++i) {
      bytes += lemmatize(words[done++ % words.size()]).size();
    }
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
  }
  std::printf("%zu %.9f\n", done, bytes != 0 ? seconds : 0);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    return 2;
  }
  const Lemmatize lemmatize = tool(argv[1]);
  std::ifstream file(argv[2]);
  std::vector<std::string> words;
  for (std::string word; std::getline(file, word);) {
    words.push_back(word);
  }
  if (words.empty()) {
    return 1;
  }
  (argc == 4 ? print_results : print_speed)(lemmatize, words);
  return 0;
}
