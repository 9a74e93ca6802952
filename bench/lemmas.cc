// Lemmas or stems of the words of a file, one a line, with one tool: "fenra",
// "hunspell" or "snowball". Or, with "plain" or "web", of the first words that fenra's rules of
// that name make of a text, by the same rules.
// usage: bench_lemmas TOOL FILE [print]
// Prints the number of words and the seconds; with "print" the result of each word.
#include <fenra/fenra.h>
#include <libstemmer.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <hunspell/hunspell.hxx>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Lemmatize = std::function<std::string(const std::string& word)>;

constexpr double kSeconds = 0.5;
constexpr size_t kTextWords = 50000;

Lemmatize fenra_lemmas(const ArticledbRules& rules) {
  const ostren::fenra::TmpFile lexicon(fstContent, fstContentSize);
  const std::shared_ptr<void> lemmatizer(articledb_simple_fst_lemmatizer_new(lexicon.name()),
                                         articledb_simple_fst_lemmatizer_free);
  return [lemmatizer, first_lemma = rules.first_lemma](const std::string& word) {
    GList* lemmas = first_lemma(lemmatizer.get(), word.data(), static_cast<int>(word.size()));
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
  if (const ArticledbRules* rules =
          articledb_rules_by_name(name == "fenra" ? "plain" : name.c_str())) {
    return fenra_lemmas(*rules);
  }
  return name == "hunspell" ? hunspell_stems() : snowball_stems();
}

std::vector<std::string> words_of_lines(std::istream& file) {
  std::vector<std::string> words;
  for (std::string word; std::getline(file, word);) {
    words.push_back(word);
  }
  return words;
}

std::vector<std::string> words_of_text(std::istream& file, const ArticledbRules& rules) {
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const std::shared_ptr<void> tokenizer(
      rules.tokenizer_new(text.data(), static_cast<int>(text.size())), rules.tokenizer_free);
  std::vector<std::string> words;
  const char* word;
  int length;
  while (words.size() < kTextWords &&
         rules.next_token(tokenizer.get(), &word, &length) == ARTICLEDB_TOKEN_OK) {
    words.emplace_back(word, static_cast<size_t>(length));
  }
  return words;
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
  const ArticledbRules* const rules = articledb_rules_by_name(argv[1]);
  const std::vector<std::string> words =
      rules != nullptr ? words_of_text(file, *rules) : words_of_lines(file);
  if (words.empty()) {
    return 1;
  }
  (argc == 4 ? print_results : print_speed)(lemmatize, words);
  return 0;
}
