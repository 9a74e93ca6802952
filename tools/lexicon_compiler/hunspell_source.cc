#include "tools/lexicon_compiler/hunspell_source.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string_view>

#include "tools/lexicon_compiler/hunspell_dictionary.h"

namespace lexicon_compiler {
namespace {

// Flags with a meaning of their own; the dictionary defines them as prefixes.
constexpr std::string_view kConditional = "1000";  // takes ba-: a finite verb
constexpr std::string_view kCausal = "1001";       // takes bait-: a finite verb
constexpr std::string_view kAgain = "1002";        // takes ber-, bir-

// Suffixes that make a new word, whose lemma they end, what they add to the lemma,
// and its word class (empty: taken for that of the stem, which keeps thousands of
// stems from standing in several branches).
struct Derivation {
  std::string_view suffix;
  std::string_view tail;
  std::string_view category;
};
constexpr std::array<Derivation, 20> kDerivations = {{
    {"garri", "garri", "ADJ"}, {"tzaile", "tzaile", "IZE"},
    {"taile", "taile", "IZE"}, {"le", "le", "IZE"},
    {"mendu", "mendu", "IZE"}, {"men", "men", "IZE"},
    {"pen", "pen", "IZE"},     {"dura", "dura", "IZE"},
    {"dur", "dura", "IZE"},    {"keran", "keran", "IZE"},
    {"gan", "gan", "IZE"},     {"araz", "arazi", "ADI"},
    {"raz", "razi", "ADI"},    {"taraz", "tarazi", "ADI"},
    {"tasun", "tasun", ""},    {"gile", "gile", ""},
    {"dun", "dun", ""},        {"tsu", "tsu", ""},
    {"ki", "ki", ""},          {"ka", "ka", ""},
}};

// Endings of the participle that a verb stem may lack, likeliest first.
constexpr std::array<std::string_view, 3> kParticipleEndings = {"tu", "du", "i"};
// The same for verb classes that do not contain them.
constexpr std::array<std::string_view, 4> kHiddenParticipleEndings = {"n", "ri", "i", "tu"};
// What nominal stems may have lost in front of their class's suffixes.
constexpr std::array<std::string_view, 6> kLostEndings = {"n", "tz", "ts", "z", "s", "k"};

// The word with ber- in front, in the shape it has there.
std::string Again(bool again, const std::string& word) {
  if (!again) {
    return word;
  }
  if (word[0] == 'h') {
    return "berr" + word.substr(1);
  }
  const bool is_vowel = std::string_view("aeiou").find(word[0]) != std::string_view::npos;
  return (is_vowel ? "berr" : "bir") + word;
}

class Reader {
 public:
  Reader(HunspellClasses classes, Grammar* grammar)
      : grammar_(*grammar), morphology_(grammar->morphology), classes_(std::move(classes)) {
    end_ = Named("end");
    morphology_.Suffixes(end_).assign(1, Suffix());
    for (const Entry& entry : morphology_.entries()) {
      if (entry.branch.category == "ADL") {
        auxiliaries_.insert(entry.lemma);
      }
    }
  }

  void AddWords(std::vector<HunspellStem> stems);
  void AddNames(std::vector<HunspellStem> stems);

 private:
  enum class Kind { kVerb, kNoun, kAdjective, kAdverb };

  ClassId Named(const std::string& flag) { return morphology_.ClassNamed("hunspell:" + flag); }
  bool ClassHas(const std::string& flag, std::string_view suffix) const {
    return classes_.Has(flag, suffix);
  }
  void Learn(std::vector<HunspellStem> stems);
  bool IsWord(const std::string& word) const;
  Kind KindOf(const std::string& flag) const;
  std::string VerbLemma(const std::string& stem, const std::string& flag) const;
  std::string NominalLemma(const std::string& stem, const std::string& flag) const;
  std::string FiniteLemma(const std::string& stem) const;
  bool IsLocalForm(const std::string& word) const;
  ClassId Converted(const std::string& flag, bool of_stems);
  void AddStem(const HunspellStem& stem);
  void AddWithClass(bool again, const std::string& stem, const std::string& flag);
  void AddFinite(const HunspellStem& stem);

  Grammar& grammar_;
  Morphology& morphology_;
  ClassId end_ = 0;
  const HunspellClasses classes_;
  std::vector<HunspellStem> stems_;
  std::map<std::string, std::vector<const HunspellStem*>> by_word_;
  std::set<std::string> converted_;
  std::set<std::string> participles_;
  std::set<std::string> auxiliaries_;  // lemmas of the grammar's auxiliaries
};

// The stems that are added from now on. They know of each other only.
void Reader::Learn(std::vector<HunspellStem> stems) {
  stems_ = std::move(stems);
  by_word_.clear();
  for (const HunspellStem& stem : stems_) {
    by_word_[stem.word].push_back(&stem);
  }
}

// Whether the word stands in the dictionary and needs no suffix.
bool Reader::IsWord(const std::string& word) const {
  const auto stems = by_word_.find(word);
  if (stems == by_word_.end()) {
    return false;
  }
  return std::any_of(stems->second.begin(), stems->second.end(), [this](const HunspellStem* stem) {
    return !Has(stem->flags, kNeedsSuffix) ||
           std::any_of(stem->flags.begin(), stem->flags.end(),
                       [this](const std::string& flag) { return ClassHas(flag, ""); });
  });
}

Reader::Kind Reader::KindOf(const std::string& flag) const {
  if (classes_.IsVerbal(flag)) {
    return Kind::kVerb;
  }
  if (!ClassHas(flag, "ak") && !ClassHas(flag, "k") && !ClassHas(flag, "gatik")) {
    return Kind::kAdverb;
  }
  return ClassHas(flag, "egi") || ClassHas(flag, "ki") ? Kind::kAdjective : Kind::kNoun;
}

std::string Reader::VerbLemma(const std::string& stem, const std::string& flag) const {
  const auto given = grammar_.lemmas.find(stem);
  if (given != grammar_.lemmas.end()) {
    return given->second;
  }
  // Participles in -i and -n decline and are therefore stems themselves.
  if (ClassHas(flag, "i") && IsWord(stem + "i")) {
    return stem + "i";
  }
  for (const std::string_view ending : kParticipleEndings) {
    if (ClassHas(flag, ending)) {
      return stem + std::string(ending);
    }
  }
  if (ClassHas(flag, "ta")) {
    return stem;  // the stem is the participle: bete, beteta
  }
  for (const std::string_view ending : kHiddenParticipleEndings) {
    if (IsWord(stem + std::string(ending))) {
      return stem + std::string(ending);
    }
  }
  if (const char last = stem.back(); last == 's' || last == 'z' || last == 'x') {
    // The imperfective -sten of participles in -tsi.
    const std::string radical = stem.substr(0, stem.size() - 1) + 't' + last;
    return by_word_.count(radical) > 0 ? radical + "i" : stem;
  }
  return stem.back() == 'r' ? stem + "ri" : stem;
}

std::string Reader::NominalLemma(const std::string& stem, const std::string& flag) const {
  const auto given = grammar_.lemmas.find(stem);
  if (given != grammar_.lemmas.end()) {
    return given->second;
  }
  const bool has_full_form = ClassHas(flag, "ko") || ClassHas(flag, "eko") || ClassHas(flag, "k");
  const bool is_bare = ClassHas(flag, "");
  if (stem.size() > 2 && stem.compare(stem.size() - 2, 2, "rr") == 0 && !is_bare) {
    return stem.substr(0, stem.size() - 1);
  }
  if (stem.size() == 1) {
    return stem;
  }
  const char last = stem.back();
  if (!is_bare && (last == 'z' || last == 's')) {
    // Zarauz- of Zarautz, in front of -ko and -tik.
    std::string whole = stem.substr(0, stem.size() - 1) + 't' + last;
    if (IsWord(whole)) {
      return whole;
    }
  }
  if (ClassHas(flag, "ak") && !has_full_form) {
    // Only suffixes that begin with a vowel, in front of which final a is lost.
    return !is_bare || IsWord(stem + "a") ? stem + "a" : stem;
  }
  if (!ClassHas(flag, "ak") && !is_bare && !has_full_form) {
    for (const std::string_view ending : kLostEndings) {
      if (IsWord(stem + std::string(ending))) {
        return stem + std::string(ending);
      }
    }
  }
  return stem;
}

// Whether the word is the -ko form of another one. The dictionary has many of them
// as words of their own ("the one of the house", a member of the family), which
// most often are just forms.
bool Reader::IsLocalForm(const std::string& word) const {
  for (const std::string_view ending : {"ko", "eko", "ezko", "zko", "go"}) {
    if (word.size() > ending.size() + 2 &&
        word.compare(word.size() - ending.size(), ending.size(), ending) == 0 &&
        IsWord(word.substr(0, word.size() - ending.size()))) {
      return true;
    }
  }
  return false;
}

std::string Reader::FiniteLemma(const std::string& stem) const {
  if (participles_.count(stem) > 0) {
    return stem;
  }
  for (const auto& [letters, lemma] : grammar_.roots) {
    if (letters[0] == '^' ? stem == letters.substr(1) : stem.find(letters) != std::string::npos) {
      return lemma;
    }
  }
  return stem;
}

// The class with its followers. As a class of stems it derives words and lacks the
// empty suffix, because the bare stem is added apart.
ClassId Reader::Converted(const std::string& flag, bool of_stems) {
  const std::string name = of_stems ? flag : flag + "+";
  const ClassId id = Named(name);
  if (!converted_.insert(name).second) {
    return id;
  }
  std::vector<Suffix> suffixes;
  for (const HunspellClasses::Rule& rule : classes_.RulesOf(flag)) {
    Suffix suffix;
    suffix.surface = rule.surface;
    const auto derivation =
        std::find_if(kDerivations.begin(), kDerivations.end(),
                     [&](const Derivation& d) { return d.suffix == rule.surface; });
    if (of_stems && derivation != kDerivations.end()) {
      suffix.derives = true;
      suffix.tail = derivation->tail;
      suffix.branch.category = derivation->category;
    }
    if (!rule.needs_suffix && !(of_stems && rule.surface.empty())) {
      suffixes.push_back(suffix);
    }
    for (const std::string& next : rule.next) {
      if (classes_.IsClass(next)) {
        suffix.has_next = true;
        suffix.next = Converted(next, false);
        suffixes.push_back(suffix);
      }
    }
  }
  morphology_.Suffixes(id) = std::move(suffixes);
  return id;
}

void Reader::AddWithClass(bool again, const std::string& stem, const std::string& flag) {
  const Kind kind = KindOf(flag);
  std::string lemma = kind == Kind::kVerb ? VerbLemma(stem, flag) : NominalLemma(stem, flag);
  Branch branch;
  switch (kind) {
    case Kind::kVerb:
      branch.category = "ADI";
      break;
    case Kind::kNoun:
      branch.category = "IZE";
      break;
    case Kind::kAdjective:
      branch.category = "ADJ";
      break;
    case Kind::kAdverb:
      branch.category = "ADB";
      break;
  }
  if (participles_.count(stem) > 0) {
    branch.category = "ADI";
    lemma = stem;
  }
  branch.strength = kind != Kind::kVerb && IsLocalForm(lemma) ? "late" : "rest";
  const std::string word = Again(again, stem);
  lemma = Again(again, lemma);
  if (ClassHas(flag, "")) {
    const bool is_radical = kind == Kind::kVerb && lemma != word;
    morphology_.Add(
        {{branch.category, is_radical ? "radical" : branch.strength}, word, lemma, end_});
  }
  morphology_.Add({branch, word, lemma, Converted(flag, true)});
}

void Reader::AddFinite(const HunspellStem& stem) {
  const std::string lemma = FiniteLemma(stem.word);
  const Branch branch = {auxiliaries_.count(lemma) > 0 ? "ADL" : "ADT", "rest"};
  std::vector<std::string> words = {stem.word};
  words.push_back("ba" + stem.word);
  const std::string rest = stem.word.substr(1);
  switch (stem.word[0]) {
    case 'd':
      words.push_back("bait" + rest);
      break;
    case 'g':
      words.push_back("baik" + rest);
      break;
    case 'n':
    case 'l':
      words.push_back("bai" + stem.word);
      break;
    default:
      words.push_back("bait" + stem.word);
  }
  for (const std::string& word : words) {
    bool has_class = false;
    for (const std::string& flag : stem.flags) {
      if (classes_.IsClass(flag)) {
        has_class = true;
        if (ClassHas(flag, "")) {
          morphology_.Add({branch, word, lemma, end_});
        }
        morphology_.Add({branch, word, lemma, Converted(flag, true)});
      }
    }
    if (!has_class || !Has(stem.flags, kNeedsSuffix)) {
      morphology_.Add({branch, word, lemma, end_});
    }
  }
}

void Reader::AddStem(const HunspellStem& stem) {
  if (Has(stem.flags, kConditional) || Has(stem.flags, kCausal)) {
    AddFinite(stem);
    return;
  }
  for (const bool again : {false, true}) {
    if (again && !Has(stem.flags, kAgain)) {
      continue;
    }
    if (!Has(stem.flags, kNeedsSuffix)) {
      const auto given = grammar_.lemmas.find(stem.word);
      const std::string lemma = given != grammar_.lemmas.end() ? given->second : stem.word;
      morphology_.Add({{"ADB", "bare"}, Again(again, stem.word), Again(again, lemma), end_});
    }
    for (const std::string& flag : stem.flags) {
      if (classes_.IsClass(flag)) {
        AddWithClass(again, stem.word, flag);
      }
    }
  }
}

void Reader::AddWords(std::vector<HunspellStem> stems) {
  Learn(std::move(stems));
  std::set<std::string> participles;
  for (const HunspellStem& stem : stems_) {
    for (const std::string& flag : stem.flags) {
      if (classes_.IsVerbal(flag)) {
        participles.insert(VerbLemma(stem.word, flag));
      }
    }
  }
  participles_ = std::move(participles);
  for (const HunspellStem& stem : stems_) {
    AddStem(stem);
  }
}

void Reader::AddNames(std::vector<HunspellStem> stems) {
  Learn(std::move(stems));
  const Branch names = {"IZB", ""};
  for (const HunspellStem& stem : stems_) {
    if (!Has(stem.flags, kNeedsSuffix)) {
      morphology_.Add({names, stem.word, stem.word, end_});
    }
    for (const std::string& flag : stem.flags) {
      if (classes_.IsClass(flag)) {
        const std::string lemma = NominalLemma(stem.word, flag);
        if (ClassHas(flag, "")) {
          morphology_.Add({names, stem.word, lemma, end_});
        }
        morphology_.Add({names, stem.word, lemma, Converted(flag, true)});
      }
    }
  }
}

}  // namespace

void ReadHunspell(std::istream& aff, std::istream& dic, Grammar* grammar) {
  Reader reader(HunspellClasses(aff), grammar);
  HunspellStems stems = ReadStems(dic);
  reader.AddWords(std::move(stems.words));
  reader.AddNames(std::move(stems.names));
}

}  // namespace lexicon_compiler
