#include "tools/lexicon_compiler/hunspell_dictionary.h"

#include <algorithm>
#include <sstream>

#include "tools/lexicon_compiler/build_error.h"

namespace lexicon_compiler {

namespace {

// For U+00C0 to U+00FF the letter without its mark; a point where there is none.
constexpr std::string_view kBases =
    "AAAAAA.CEEEEIIII.NOOOOO..UUUUY..aaaaaa.ceeeeiiii.nooooo..uuuuy.y";

// What remains of a word in UTF-8 without its marks, which can have other bytes still.
std::string WithoutMarks(const std::string& word) {
  std::string bare;
  for (size_t i = 0; i < word.size(); i++) {
    const char base = word[i] == '\xc3' && i + 1 < word.size()
                          ? kBases[static_cast<unsigned char>(word[i + 1]) & 0x3fu]
                          : '.';
    i += base == '.' ? 0 : 1;
    bare += base == '.' ? word[i] : base;
  }
  return bare;
}

bool IsCapital(char c) { return c >= 'A' && c <= 'Z'; }

bool IsPlain(std::string_view word) {
  return !word.empty() && word[0] != '-' && std::all_of(word.begin(), word.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || c == '-';
  });
}

std::vector<std::string> SplitFlags(const std::string& flags) {
  std::vector<std::string> parts;
  std::istringstream stream(flags);
  for (std::string part; std::getline(stream, part, ',');) {
    parts.push_back(part);
  }
  return parts;
}

}  // namespace

bool Has(const std::vector<std::string>& flags, std::string_view flag) {
  return std::find(flags.begin(), flags.end(), flag) != flags.end();
}

// Lines "SFX CLASS STRIP SUFFIX[/CLASS,...] CONDITION"; header lines of a class have
// four fields.
HunspellClasses::HunspellClasses(std::istream& aff) {
  int number = 0;
  for (std::string line; std::getline(aff, line);) {
    number++;
    std::istringstream fields(line);
    std::string kind, name, strip, suffix, condition;
    if (!(fields >> kind >> name >> strip >> suffix >> condition) || kind != "SFX") {
      continue;
    }
    if (strip != "0" || condition != ".") {
      throw BuildError("suffix classes, line " + std::to_string(number) +
                       ": rules that strip letters or have a condition are not supported");
    }
    Rule rule;
    const size_t slash = suffix.find('/');
    if (slash != std::string::npos) {
      rule.next = SplitFlags(suffix.substr(slash + 1));
      rule.needs_suffix = lexicon_compiler::Has(rule.next, kNeedsSuffix);
      suffix.resize(slash);
    }
    rule.surface = suffix == "0" ? "" : suffix;
    if (!rule.surface.empty() && !IsPlain(rule.surface)) {
      continue;
    }
    surfaces_[name].insert(rule.surface);
    rules_[name].push_back(std::move(rule));
  }
  if (rules_.empty()) {
    throw BuildError("the suffix classes are empty");
  }
}

bool HunspellClasses::Has(const std::string& flag, std::string_view suffix) const {
  const auto surfaces = surfaces_.find(flag);
  return surfaces != surfaces_.end() && surfaces->second.count(std::string(suffix)) > 0;
}

bool HunspellClasses::IsVerbal(const std::string& flag) const {
  return Has(flag, "tzen") || Has(flag, "ten") || (Has(flag, "i") && Has(flag, "araz"));
}

HunspellStems ReadStems(std::istream& dic) {
  HunspellStems stems;
  std::string line;
  std::getline(dic, line);  // the number of entries
  while (std::getline(dic, line)) {
    HunspellStem stem;
    const size_t slash = line.find('/');
    stem.word = WithoutMarks(line.substr(0, slash));
    const bool is_name = std::any_of(stem.word.begin(), stem.word.end(), IsCapital);
    for (char& c : stem.word) {
      c = IsCapital(c) ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (!IsPlain(stem.word)) {
      continue;
    }
    if (slash != std::string::npos) {
      stem.flags = SplitFlags(line.substr(slash + 1));
    }
    (is_name ? stems.names : stems.words).push_back(std::move(stem));
  }
  if (stems.words.empty()) {
    throw BuildError("the dictionary is empty");
  }
  return stems;
}

}  // namespace lexicon_compiler
