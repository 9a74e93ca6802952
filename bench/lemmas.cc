// Lemmas or stems of the words of a file, one a line, with one tool: "fenra",
// "hunspell" or "snowball". Prints words and seconds.
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
using Lemmatize = std::function<size_t(const std::string& word)>;  // size of the result

constexpr double kSeconds = 0.5;

Lemmatize fenra_lemmas() {
  const ostren::fenra::TmpFile lexicon(fstContent, fstContentSize);
  const std::shared_ptr<void> lemmatizer(articledb_simple_fst_lemmatizer_new(lexicon.name()),
                                         articledb_simple_fst_lemmatizer_free);
  return [lemmatizer](const std::string& word) {
    GList* lemmas = articledb_simple_fst_lemmatizer_first_lemma(lemmatizer.get(), word.data(),
                                                                static_cast<int>(word.size()));
    const size_t size = strlen(static_cast<const char*>(lemmas->data));
    articledb_string_list_free(lemmas);
    return size;
  };
}

Lemmatize hunspell_stems() {
  const auto hunspell =
      std::make_shared<Hunspell>("/usr/share/hunspell/eu.aff", "/usr/share/hunspell/eu.dic");
  return [hunspell](const std::string& word) {
    const std::vector<std::string> stems = hunspell->stem(word);
    return stems.empty() ? word.size() : stems.front().size();
  };
}

Lemmatize snowball_stems() {
  const std::shared_ptr<sb_stemmer> stemmer(sb_stemmer_new("basque", "UTF_8"), sb_stemmer_delete);
  return [stemmer](const std::string& word) {
    sb_stemmer_stem(stemmer.get(), reinterpret_cast<const sb_symbol*>(word.data()),
                    static_cast<int>(word.size()));
    return static_cast<size_t>(sb_stemmer_length(stemmer.get()));
  };
}

Lemmatize tool(const std::string& name) {
  if (name == "fenra") {
    return fenra_lemmas();
  }
  return name == "hunspell" ? hunspell_stems() : snowball_stems();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
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
  size_t done = 0;
  size_t bytes = 0;
  const Clock::time_point start = Clock::now();
  double seconds = 0;
  while (seconds < kSeconds) {
    // The clock is asked now and then, not at every word.
    for (int i = 0; i < 1000; ++i) {
      bytes += lemmatize(words[done++ % words.size()]);
    }
    seconds = std::chrono::duration<double>(Clock::now() - start).count();
  }
  std::printf("%zu %.9f\n", done, bytes != 0 ? seconds : 0);
  return 0;
}
