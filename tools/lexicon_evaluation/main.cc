// Prints how well a lexicon, and stemmers beside it, lemmatize the forms of a gold
// file or the words of a text with lemmas; or how well a lexicon knows the words of running text.
#include <glib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>

#include "lexicon/articledb_lemmatizer.h"
#include "lexicon/ostren_ffst.h"
#include "lexicon/web_lemmatizer.h"
#include "tools/lexicon_evaluation/gold.h"
#include "tools/lexicon_evaluation/running.h"
#include "tools/lexicon_evaluation/score.h"
#include "tools/lexicon_evaluation/stemmers.h"

namespace lexicon_evaluation {
namespace {

struct FreeLemmatizer {
  void operator()(void* lemmatizer) const { articledb_simple_fst_lemmatizer_free(lemmatizer); }
};
using LexiconHandle = std::unique_ptr<void, FreeLemmatizer>;

LexiconHandle OpenLexicon(const std::string& path) {
  LexiconHandle lexicon(articledb_simple_fst_lemmatizer_new(path.c_str()));
  if (lexicon == nullptr) {
    throw std::runtime_error("cannot open the lexicon " + path);
  }
  return lexicon;
}

Answer AskLexicon(void* lexicon, const std::string& form) {
  GList* lemmas = articledb_simple_fst_lemmatizer_first_lemma(lexicon, form.data(),
                                                              static_cast<int>(form.size()));
  Answer answer = {
      Pelko::lookup_only_the_first(static_cast<QorLexicon*>(lexicon), form.c_str()) == 1,
      static_cast<const char*>(lemmas->data)};
  articledb_string_list_free(lemmas);
  return answer;
}

// What the rules for the web make of a word, folded as they fold it.
Answer AskForWeb(void* lexicon, const std::string& form) {
  const std::string folded = Folded(form);
  GList* lemmas =
      articledb_web_lemmatizer_first_lemma(lexicon, folded.data(), static_cast<int>(folded.size()));
  Answer answer = {
      Pelko::lookup_only_the_first(static_cast<QorLexicon*>(lexicon), folded.c_str()) == 1,
      static_cast<const char*>(lemmas->data)};
  articledb_string_list_free(lemmas);
  return answer;
}

void PrintScore(const std::string& name, const Score& score) {
  std::printf("%-10s %8.1f %8.1f %9.1f %8.1f %8.1f\n", name.c_str(), score.coverage, score.accuracy,
              score.precision, score.recall, score.f1);
}

void PrintWrong(const Score& score) {
  for (const Wrong& wrong : score.wrong) {
    std::printf("%4d  %-20s %s/%-16s %s%s\n", wrong.gold.weight, wrong.gold.form.c_str(),
                wrong.gold.category.c_str(), wrong.gold.lemma.c_str(), wrong.answer.lemma.c_str(),
                wrong.answer.is_known ? "" : " (unknown)");
  }
}

using Named = std::pair<std::string, Lemmatizer>;

// The places of the lexicon's own in the list.
constexpr size_t kPlain = 0;
constexpr size_t kWeb = 1;

// The lexicon, what it is compared with, and the words as they are.
std::vector<Named> Lemmatizers(void* lexicon, const std::string& dictionary) {
  std::vector<Named> lemmatizers = {
      {"plain", [lexicon](const std::string& form) { return AskLexicon(lexicon, form); }},
      {"web", [lexicon](const std::string& form) { return AskForWeb(lexicon, form); }}};
  for (Named& other : OtherStemmers(dictionary)) {
    lemmatizers.push_back(std::move(other));
  }
  lemmatizers.emplace_back("none", [](const std::string& form) { return Answer{true, form}; });
  return lemmatizers;
}

// Returns the scores.
std::vector<Score> PrintScores(const std::string& title, const std::vector<GoldForm>& gold,
                               const std::vector<Named>& lemmatizers) {
  std::printf("%-10s %8s %8s %9s %8s %8s\n", title.c_str(), "coverage", "accuracy", "precision",
              "recall", "F1");
  std::vector<Score> scores;
  for (const auto& [name, lemmatizer] : lemmatizers) {
    scores.push_back(Evaluate(gold, lemmatizer));
    PrintScore(name, scores.back());
  }
  return scores;
}

std::ifstream Open(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("cannot open " + path);
  }
  return file;
}

void JudgeByGold(const std::string& path, const std::vector<Named>& lemmatizers,
                 bool prints_wrong) {
  std::ifstream file = Open(path);
  const std::vector<Score> scores = PrintScores("", ReadGold(file), lemmatizers);
  if (prints_wrong) {
    PrintWrong(scores[kPlain]);
  }
}

// The wrong words are those of small letters by the plain rules, and the names by those
// for the web.
void JudgeByRunning(const std::string& path, const std::vector<Named>& lemmatizers,
                    bool prints_wrong) {
  std::ifstream file = Open(path);
  for (const Selection& selection : Selections(ReadRunning(file))) {
    const std::vector<Score> scores =
        PrintScores(selection.name + " " + std::to_string(selection.words.size()), selection.words,
                    lemmatizers);
    if (prints_wrong && selection.name == "small") {
      PrintWrong(scores[kPlain]);
    } else if (prints_wrong && selection.name == "names") {
      PrintWrong(scores[kWeb]);
    }
  }
}

// Words are runs of small letters of ASCII and hyphens, which begin with a letter
// and which no other letter or digit touches.
std::vector<std::string> ReadWords(std::istream& text) {
  const auto is_small = [](char c) { return c >= 'a' && c <= 'z'; };
  const auto is_in_run = [&](char c) {
    return is_small(c) || c == '-' || c == '_' || (c >= 'A' && c <= 'Z') ||
           (c >= '0' && c <= '9') || (static_cast<unsigned char>(c) & 0x80) != 0;
  };
  const std::string content{std::istreambuf_iterator<char>(text), {}};
  std::vector<std::string> words;
  for (auto begin = content.begin(); begin != content.end();) {
    begin = std::find_if(begin, content.end(), is_in_run);
    const auto end = std::find_if_not(begin, content.end(), is_in_run);
    if (begin != end && is_small(*begin) &&
        std::all_of(begin, end, [&](char c) { return is_small(c) || c == '-'; })) {
      words.emplace_back(begin, end);
    }
    begin = end;
  }
  return words;
}

void JudgeByText(void* lexicon, std::istream& text, size_t shown) {
  const std::vector<std::string> words = ReadWords(text);
  std::map<std::string, int> unknown;
  size_t known = 0;
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& word : words) {
    articledb_string_list_free(articledb_simple_fst_lemmatizer_first_lemma(
        lexicon, word.data(), static_cast<int>(word.size())));
  }
  const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
  for (const std::string& word : words) {
    if (AskLexicon(lexicon, word).is_known) {
      known++;
    } else {
      unknown[word]++;
    }
  }
  const double count = words.empty() ? 1.0 : static_cast<double>(words.size());
  std::printf("%zu words, %.2f %% known, %.2f microseconds a word\n", words.size(),
              100 * static_cast<double>(known) / count, taken.count() / count);
  std::vector<std::pair<std::string, int>> by_count(unknown.begin(), unknown.end());
  std::stable_sort(by_count.begin(), by_count.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  by_count.resize(std::min(by_count.size(), shown));
  for (const auto& [word, times] : by_count) {
    std::printf("%6d  %s\n", times, word.c_str());
  }
}

int Run(int argc, char** argv) {
  CLI::App app("Judges a lexicon by a gold file, or by running text on standard input.");
  std::string path, gold, running, dictionary = "/usr/share/hunspell/eu.dic";
  bool prints_wrong = false;
  bool reads_text = false;
  size_t shown = 50;
  app.add_option("lexicon", path, "transducer file")->required();
  app.add_option("--gold", gold, "gold file");
  app.add_option("--running", running, "running text with lemmas");
  app.add_option("--hunspell", dictionary, "hunspell dictionary to compare with")
      ->capture_default_str();
  app.add_flag("--wrong", prints_wrong, "print the forms with a wrong lemma");
  app.add_flag("--text", reads_text, "read text and print the most frequent unknown words");
  app.add_option("--shown", shown, "unknown words to print")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  const LexiconHandle lexicon = OpenLexicon(path);
  const std::vector<Named> lemmatizers = Lemmatizers(lexicon.get(), dictionary);
  if (!gold.empty()) {
    JudgeByGold(gold, lemmatizers, prints_wrong);
  }
  if (!running.empty()) {
    JudgeByRunning(running, lemmatizers, prints_wrong);
  }
  if (reads_text) {
    JudgeByText(lexicon.get(), std::cin, shown);
  }
  return 0;
}

}  // namespace
}  // namespace lexicon_evaluation

int main(int argc, char** argv) {
  try {
    return lexicon_evaluation::Run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
}
