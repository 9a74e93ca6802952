// The files of a spelling dictionary: suffix classes, and stems with the classes they take.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_HUNSPELL_DICTIONARY_H
#define FENRA_TOOLS_LEXICON_COMPILER_HUNSPELL_DICTIONARY_H

#include <istream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lexicon_compiler {

// The mark of stems that need a suffix, and of suffixes that need another one.
constexpr std::string_view kNeedsSuffix = "1";

bool Has(const std::vector<std::string>& flags, std::string_view flag);

class HunspellClasses {
 public:
  struct Rule {
    std::string surface;
    std::vector<std::string> next;
    bool needs_suffix = false;
  };

  // The .aff file. Conditions and stripped letters are not supported in suffix rules.
  // Throws BuildError.
  explicit HunspellClasses(std::istream& aff);

  bool IsClass(const std::string& flag) const { return rules_.count(flag) > 0; }
  const std::vector<Rule>& RulesOf(const std::string& flag) const { return rules_.at(flag); }

  // Whether the suffix is one of the class's own, without those of the classes that follow.
  bool Has(const std::string& flag, std::string_view suffix) const;

  // Whether its suffixes are those of verb stems.
  bool IsVerbal(const std::string& flag) const;

 private:
  std::map<std::string, std::vector<Rule>> rules_;
  std::map<std::string, std::set<std::string>> surfaces_;
};

struct HunspellStem {
  std::string word;
  std::vector<std::string> flags;
};

// The stems of a .dic file that small letters of ASCII and hyphens can spell, without
// their marks: with n for ñ. Those with a capital are names, which have become small.
struct HunspellStems {
  std::vector<HunspellStem> words;
  std::vector<HunspellStem> names;
};

// Throws BuildError when there are no words.
HunspellStems ReadStems(std::istream& dic);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_HUNSPELL_DICTIONARY_H
