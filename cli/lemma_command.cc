#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/store.h"

namespace cli {
namespace {

// No analysis: of a form with a zero byte, the lexicon would see only a part.
bool is_word(const std::string& form) { return form.find('\0') == std::string::npos; }

class Analyser {
 public:
  // FORM, LEMMA and ANALYSES, with tabs between them.
  std::string line(const std::string& form) const {
    const StringList lemmas(articledb_simple_fst_lemmatizer_first_lemma(
        lemmatizer_.get(), form.data(), static_cast<int>(form.size())));
    return form + "\t" + static_cast<const char*>(lemmas->data) + "\t" + analyses(form);
  }

 private:
  std::string analyses(const std::string& form) const {
    TransducerOutput results;
    if (is_word(form)) {
      Pelko::lookup(lexicon_.get(), results, form.c_str());
    }
    std::string text;
    for (const std::string& result : results) {
      text += (text.empty() ? "" : " ") + result;
    }
    return text.empty() ? "-" : text;
  }

  const Lemmatizer lemmatizer_ = load_lemmatizer();
  const Lexicon lexicon_ = load_lexicon();
};

void lemma(const std::vector<std::string>& words) {
  const Analyser analyser;
  for (const std::string& word : words) {
    print_line(analyser.line(word));
  }
  if (!words.empty()) {
    return;
  }
  std::string word;
  while (std::getline(std::cin, word)) {
    print_line(analyser.line(word));
  }
  if (std::cin.bad()) {
    throw Failure("cannot read standard input");
  }
}

}  // namespace

void add_lemma_command(const Command& program) {
  auto words = std::make_shared<std::vector<std::string>>();
  const Command command = program.add_command(
      "lemma", "Print each word's lemma and its analyses in the embedded lexicon");
  command.add_texts("WORD", *words, "Words; by default the lines of standard input");
  command.set_footer(
      "A line is FORM, LEMMA and ANALYSES with tabs between them; \"-\" for no analysis.\n"
      "Example:\n"
      "  fenra lemma etxearen mendietatik");
  command.set_action([words] { lemma(*words); });
}

}  // namespace cli
