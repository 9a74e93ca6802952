#include "tools/lexicon_compiler/lexicon.h"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace lexicon_compiler {

namespace {

struct FixedWord {
  std::string form;
  std::vector<std::string> analyses;  // all of them, in order
};

// Forms of auxiliaries, which stand in nearly every sentence and are ambiguous
// between themselves. Where the first analysis has no "+", or has it first, the
// form is indexed as its own lemma.
const std::vector<FixedWord>& FixedWords() {
  static const auto& words = *new std::vector<FixedWord>{
      {"da", {"ADT/izan", "ADL/izan"}},
      {"zuen", {"ADL/edun", "ADL/edun+", "IOR/zuek+", "IOR/zuek++", "ADT/ukan", "ADT/ukan+"}},
      {"badu", {"+ADL/edun", "+ADT/ukan"}},
      {"bada", {"+ADT/izan", "+ADL/izan", "LOT/bada+"}},
  };
  return words;
}

std::vector<std::string> FixedForms() {
  std::vector<std::string> forms;
  for (const FixedWord& word : FixedWords()) {
    forms.push_back(word.form);
  }
  return forms;
}

// Adds a chain for the word's letters and, behind it, one for each analysis.
void AddFixedWord(const FixedWord& word, Transducer* transducer) {
  uint32_t state = 0;
  for (const char letter : word.form) {
    state = transducer->Extend(state, letter, 0);
  }
  for (const std::string& analysis : word.analyses) {
    transducer->states[transducer->ExtendWriting(state, analysis)].is_final = true;
  }
}

// Adds a copy of `part` and returns the number of its start.
uint32_t AddCopy(const Transducer& part, Transducer* transducer) {
  const auto offset = static_cast<uint32_t>(transducer->states.size());
  for (State copy : part.states) {
    for (Arc& arc : copy.arcs) {
      arc.target += offset;
    }
    transducer->states.push_back(std::move(copy));
  }
  return offset;
}

// Among the readings of a noun or an adjective prefers the longest lemma, which
// the form spells furthest: aldaketaz is a form of aldaketa rather than one of
// aldaka.
void PreferLongLemmas(Transducer* branch) {
  const auto preference = [](const Arc& arc) {
    return arc.lower == arc.upper ? 0 : arc.upper != kLemmaEnd ? 1 : 2;
  };
  for (State& state : branch->states) {
    std::stable_sort(state.arcs.begin(), state.arcs.end(),
                     [&](const Arc& a, const Arc& b) { return preference(a) < preference(b); });
  }
}

// The branches of all ranks, those of forms that are their own lemma among them.
// Some have no words.
std::map<std::pair<Rank, Category>, Transducer> RankedBranches(const Vocabulary& vocabulary) {
  std::map<Category, Transducer> dictionary_forms;  // not deterministic
  std::map<std::pair<Rank, Category>, Transducer> branches;
  for (const auto& [kind, words] : vocabulary.branches) {
    const Transducer free = WithoutWords(Determinise(words), FixedForms());
    Transducer& forms = dictionary_forms[kind.second];
    forms.AddArc(0, 0, 0, AddCopy(MarkedCopies(free, kLemmaEnd), &forms));
    Transducer rest = WithoutMarkedCopies(free, kLemmaEnd);
    if (kind.second == Category::IZE || kind.second == Category::ADJ) {
      PreferLongLemmas(&rest);
    }
    branches[kind] = Minimise(rest);
  }
  for (const auto& [category, words] : dictionary_forms) {
    branches[{Rank::kDictionaryForm, category}] = Minimise(Determinise(words));
  }
  return branches;
}

}  // namespace

Transducer BuildLexicon(const Vocabulary& vocabulary) {
  Transducer lexicon;
  for (const FixedWord& word : FixedWords()) {
    AddFixedWord(word, &lexicon);
  }
  for (const auto& [kind, branch] : RankedBranches(vocabulary)) {
    const uint32_t state = lexicon.ExtendWriting(0, NameOf(kind.second));
    lexicon.AddArc(state, 0, '/', AddCopy(branch, &lexicon));
  }
  return Minimise(lexicon);
}

}  // namespace lexicon_compiler
