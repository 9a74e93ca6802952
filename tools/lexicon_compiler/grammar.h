// Reader of the grammar's source files. docs/lexicon.md describes their format.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_GRAMMAR_H
#define FENRA_TOOLS_LEXICON_COMPILER_GRAMMAR_H

#include <istream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/lexicon_compiler/morphology.h"

namespace lexicon_compiler {

// The results of one word, in their order, which replace all others.
struct ExactResults {
  std::string word;
  std::vector<std::string> results;
};

// Words put together: a first part and a word of other branches.
struct Compound {
  Branch branch;
  std::vector<std::string> words;  // first parts
  size_t most_letters = 0;         // when not 0: so many letters or fewer are a first part
  std::string joint;               // between the parts
  std::vector<Branch> heads;
};

struct Grammar {
  Morphology morphology;
  std::vector<Branch> order;  // of the branches, first results first
  std::vector<ExactResults> exact;
  std::vector<Compound> compounds;
  // Letters inside a finite form that the dictionary has without a lemma, and the
  // lemma they betray; the first that occurs counts. A whole form behind "^".
  std::vector<std::pair<std::string, std::string>> roots;
  // Lemmas of single dictionary stems for which the general rules are wrong.
  std::map<std::string, std::string> lemmas;
  // What the lexicon has beside its words: entries with one result each.
  std::map<std::string, std::string> keys;
};

// Reads grammar sources, all of which make one grammar: what one file defines, every
// later one can use.
class GrammarReader {
 public:
  explicit GrammarReader(Grammar* grammar) : grammar_(grammar) {}

  // `name` stands in messages. Throws BuildError with the line of what is wrong.
  void Read(std::istream& source, const std::string& name);

  // To be called once behind the last source: every class that was named must
  // have been defined.
  void Finish() const;

 private:
  struct Prefix {
    std::vector<std::pair<std::string, std::string>> rules;  // beginning, replacement
  };
  struct Select {
    std::vector<std::pair<std::string, ClassId>> rules;  // ending, class
  };
  struct Words {
    Branch branch;
    std::string suffixes;  // a class or a choice of classes
    std::string lemma;     // of all words of the block; empty: each its own
    std::vector<std::string> prefixes;
  };

  void Header(const std::vector<std::string>& fields);
  void Item(const std::string& item);
  void AddCompoundPart(const std::string& key, const std::string& value);
  void AddSuffix(const std::string& item);
  void AddWord(const std::string& item);
  void AddWordWithPrefixes(const std::string& word, const std::string& lemma);
  ClassId ClassFor(const std::string& word) const;
  std::string WithPrefix(const std::string& prefix, const std::string& word) const;
  [[noreturn]] void Fail(const std::string& what) const;

  Grammar* grammar_;
  std::map<std::string, Select> selects_;
  std::map<std::string, Prefix> prefixes_;
  std::map<std::string, std::string> defined_;  // classes, and where

  // The block being read.
  std::string block_;
  std::string block_name_;
  Words words_;
  std::string place_;  // file and line
};

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_GRAMMAR_H
