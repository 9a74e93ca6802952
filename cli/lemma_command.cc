#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "cli/store.h"

namespace cli {
namespace {

// No analysis: of a form with a zero byte, the lexicon would see only a part.
bool is_word(const std::string& form) { return form.find('\0') == std::string::npos; }

class Analyser {
 public:
  explicit Analyser(const ArticledbRules& rules) : rules_(rules) {}

  // FORM, LEMMA and ANALYSES, with tabs between them.
  std::string line(const std::string& word) const {
    const std::string form = form_of(rules_, word);
    const StringList lemmas(
        rules_.first_lemma(lemmatizer_.get(), form.data(), static_cast<int>(form.size())));
    return word + "\t" + static_cast<const char*>(lemmas->data) + "\t" + analyses(form);
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

  const ArticledbRules& rules_;
  const Lemmatizer lemmatizer_ = load_lemmatizer();
  const Lexicon lexicon_ = load_lexicon();
};

void lemma(const ArticledbRules& rules, const std::vector<std::string>& words) {
  const Analyser analyser(rules);
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
  auto rules = std::make_shared<std::string>(kDefaultRules);
  auto words = std::make_shared<std::vector<std::string>>();
  const Command command = program.add_command(
      "lemma", "Print each word's lemma and its analyses in the embedded lexicon");
  command.add_texts("WORD", *words, "Words; by default the lines of standard input");
  command.add_text("--rules", *rules, std::string(kRulesHelp) + "; default: " + kDefaultRules);
  command.set_footer(
      "A line is FORM, LEMMA and ANALYSES with tabs between them; \"-\" for no analysis.\n"
      "By the rules web the analyses are those of the word in small letters without marks.\n"
      "Example:\n"
      "  fenra lemma etxearen mendietatik");
  command.set_action([=] { lemma(rules_named(*rules), *words); });
}

}  // namespace cli
