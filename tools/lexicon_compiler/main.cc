// Compiles the default lexicon from the project's grammar and the Basque spelling
// dictionary to the binary transducer file that the library embeds.
#include <CLI/CLI.hpp>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "lexicon/ending_key.h"
#include "tools/lexicon_compiler/att_text.h"
#include "tools/lexicon_compiler/basque_lexicon.h"
#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/ending_rules.h"
#include "tools/lexicon_compiler/hunspell_source.h"
#include "tools/lexicon_compiler/write_lexicon.h"
#include "tools/lexicon_evaluation/running.h"

namespace lexicon_compiler {
namespace {

std::ifstream Open(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw BuildError("cannot open " + path);
  }
  return file;
}

Grammar ReadSources(const std::vector<std::string>& grammar_paths, const std::string& aff_path,
                    const std::string& dic_path) {
  Grammar grammar;
  GrammarReader reader(&grammar);
  for (const std::string& path : grammar_paths) {
    std::ifstream source = Open(path);
    reader.Read(source, path);
  }
  reader.Finish();
  if (!dic_path.empty()) {
    std::ifstream aff = Open(aff_path);
    std::ifstream dic = Open(dic_path);
    ReadHunspell(aff, dic, &grammar);
  }
  return grammar;
}

// The lemmas of a word class, or of one branch, once each.
void PrintLemmas(const Grammar& grammar, const std::string& name) {
  std::set<std::string> lemmas;
  for (const Entry& entry : grammar.morphology.entries()) {
    if (entry.branch.category == name || NameOf(entry.branch) == name) {
      lemmas.insert(entry.lemma);
    }
  }
  for (const std::string& lemma : lemmas) {
    std::cout << lemma << '\n';
  }
}

// Adds what the lemmatizer for the web asks of words that are not in the lexicon.
void AddEndings(const std::vector<std::string>& text_paths, Grammar* grammar) {
  std::vector<lexicon_evaluation::GoldForm> text;
  for (const std::string& path : text_paths) {
    std::ifstream source = Open(path);
    const auto selections = lexicon_evaluation::Selections(lexicon_evaluation::ReadRunning(source));
    const auto& folded = selections[lexicon_evaluation::kFolded].words;
    text.insert(text.end(), folded.begin(), folded.end());
  }
  for (const auto& [end, rule] : CountEndingRules(*grammar, text)) {
    grammar->keys[Pelko::ending_key(end)] =
        std::to_string(rule.taken_off) + "/" + rule.put_on + "+";
  }
  for (const std::string& ending : EndingsOfNames(*grammar)) {
    grammar->keys[Pelko::ending_key("-" + ending)] = "0/+";
  }
}

struct Options {
  std::vector<std::string> grammar_paths, text_paths;
  std::string aff_path, dic_path, att_path, binary_path, version_path, lemmas, source_note;
};

void WriteVersion(const Options& options, const std::string& fingerprint) {
  std::ofstream file(options.version_path);
  file << "fenra-basque " << fingerprint;
  if (!options.source_note.empty()) {
    file << " (" << options.source_note << ")";
  }
  file << "\n";
  if (!file.flush()) {
    throw BuildError("cannot write " + options.version_path);
  }
}

void Compile(const Options& options) {
  Grammar grammar = ReadSources(options.grammar_paths, options.aff_path, options.dic_path);
  if (!options.lemmas.empty()) {
    PrintLemmas(grammar, options.lemmas);
    return;
  }
  AddEndings(options.text_paths, &grammar);
  if (options.att_path.empty() || options.binary_path.empty()) {
    throw BuildError("--att and --binary must name the files to write");
  }
  const Written written =
      WriteLexicon(BuildBasqueLexicon(grammar), options.att_path, options.binary_path);
  std::cout << "lexicon: " << grammar.morphology.entries().size() << " stems, " << written.summary
            << "\n";
  if (!options.version_path.empty()) {
    WriteVersion(options, written.fingerprint);
  }
}

int Run(int argc, char** argv) {
  CLI::App app("Compiles the Basque lexicon.");
  Options options;
  app.add_option("grammar", options.grammar_paths,
                 "grammar sources, in the order in which they are read")
      ->required();
  auto* aff =
      app.add_option("--aff", options.aff_path, "suffix classes of the spelling dictionary");
  app.add_option("--dic", options.dic_path, "stems of the spelling dictionary")->needs(aff);
  app.add_option("--text", options.text_paths,
                 "text with lemmas, by which the endings of unknown words are counted");
  app.add_option("--att", options.att_path, "AT&T text to write");
  app.add_option("--binary", options.binary_path, "binary transducer to write");
  app.add_option("--version-file", options.version_path,
                 "text that identifies the lexicon, to write");
  app.add_option("--source", options.source_note,
                 "what the version text says about the dictionary");
  app.add_option("--lemmas", options.lemmas,
                 "print the lemmas of a word class (IZE) or branch (IZE.rest) and stop");
  CLI11_PARSE(app, argc, argv);
  Compile(options);
  return 0;
}

}  // namespace
}  // namespace lexicon_compiler

int main(int argc, char** argv) {
  try {
    return lexicon_compiler::Run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << argv[0] << ": " << error.what() << "\n";
    return 1;
  }
}
