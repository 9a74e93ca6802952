#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/json.h"
#include "cli/output.h"
#include "cli/rules.h"
#include "cli/store.h"

namespace cli {
namespace {

struct LemmaOptions {
  std::vector<std::string> words;
  std::string rules = kDefaultRules;
  bool json = false;
};

// No analysis: of a form with a zero byte, the lexicon would see only a part.
bool is_word(const std::string& form) { return form.find('\0') == std::string::npos; }

struct Analysis {
  std::string word;
  std::string lemma;
  TransducerOutput analyses;
};

// FORM, LEMMA and ANALYSES, with tabs between them.
std::string plain_line(const Analysis& analysis) {
  std::string analyses;
  for (const std::string& text : analysis.analyses) {
    analyses += (analyses.empty() ? "" : " ") + text;
  }
  return analysis.word + "\t" + analysis.lemma + "\t" + (analyses.empty() ? "-" : analyses);
}

std::string json_line(const Analysis& analysis) {
  return JsonObject()
      .add_text("form", analysis.word)
      .add_text("lemma", analysis.lemma)
      .add_texts("analyses", analysis.analyses)
      .line();
}

class Analyser {
 public:
  explicit Analyser(const ArticledbRules& rules) : rules_(rules) {}

  Analysis analysis(const std::string& word) const {
    const std::string form = form_of(rules_, word);
    const StringList lemmas(
        rules_.first_lemma(lemmatizer_.get(), form.data(), static_cast<int>(form.size())));
    return {word, static_cast<const char*>(lemmas->data), analyses(form)};
  }

 private:
  TransducerOutput analyses(const std::string& form) const {
    TransducerOutput results;
    if (is_word(form)) {
      Pelko::lookup(lexicon_.get(), results, form.c_str());
    }
    return results;
  }

  const ArticledbRules& rules_;
  const Lemmatizer lemmatizer_ = load_lemmatizer();
  const Lexicon lexicon_ = load_lexicon();
};

void lemma(const LemmaOptions& options) {
  const Analyser analyser(rules_named(options.rules));
  const auto line_of = options.json ? json_line : plain_line;
  for (const std::string& word : options.words) {
    print_line(line_of(analyser.analysis(word)));
  }
  if (!options.words.empty()) {
    return;
  }
  std::string word;
  while (std::getline(std::cin, word)) {
    print_line(line_of(analyser.analysis(word)));
  }
  if (std::cin.bad()) {
    throw Failure("cannot read standard input");
  }
}

}  // namespace

void add_lemma_command(const Command& program) {
  auto options = std::make_shared<LemmaOptions>();
  const Command command = program.add_command(
      "lemma", "Print each word's lemma and its analyses in the embedded lexicon");
  command.add_texts("WORD", options->words, "Words; by default the lines of standard input");
  command.add_text("--rules", options->rules,
                   std::string(kRulesHelp) + "; default: " + kDefaultRules);
  command.add_flag("--json", options->json,
                   "Print a JSON object a line: form, lemma and analyses, an array");
  command.set_footer(
      "A line is FORM, LEMMA and ANALYSES with tabs between them; \"-\" for no analysis.\n"
      "By the rules web the analyses are those of the word in small letters without marks.\n"
      "Example:\n"
      "  fenra lemma etxearen mendietatik");
  command.set_action([options] { lemma(*options); });
}

}  // namespace cli
