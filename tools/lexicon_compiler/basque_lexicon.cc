#include "tools/lexicon_compiler/basque_lexicon.h"

#include <algorithm>
#include <unordered_map>

#include "tools/lexicon_compiler/build_error.h"

namespace lexicon_compiler {

namespace {

// The strength of the dictionary's words, most of which the grammar may have too.
constexpr const char* kRest = "rest";

// 0 for the arc that goes on with the stem, 1 for one that ends it, 2 for letters
// in which form and lemma differ.
int Rank(const Pair& pair) { return pair.upper == pair.lower ? 0 : pair.upper == '+' ? 1 : 2; }

bool Preferred(const AcyclicFst::Arc& a, const AcyclicFst::Arc& b) {
  return Rank(a.pair) != Rank(b.pair) ? Rank(a.pair) < Rank(b.pair) : a.pair < b.pair;
}

// Copies states of an AcyclicFst, each once, into a transducer.
class Copier {
 public:
  Copier(const AcyclicFst& fst, Transducer* transducer) : fst_(fst), transducer_(*transducer) {}

  // Gives `state` the arcs of `source`.
  void CopyInto(uint32_t state, StateId source) {
    std::vector<AcyclicFst::Arc> arcs = fst_.Arcs(source);
    std::stable_sort(arcs.begin(), arcs.end(), Preferred);
    for (const AcyclicFst::Arc& arc : arcs) {
      const uint32_t target = Copy(arc.target);
      transducer_.AddArc(state, static_cast<char>(arc.pair.lower),
                         static_cast<char>(arc.pair.upper), target);
    }
    transducer_.states[state].is_final = fst_.IsFinal(source);
  }

 private:
  uint32_t Copy(StateId source) {
    const auto known = copies_.find(source);
    if (known != copies_.end()) {
      return known->second;
    }
    const uint32_t state = transducer_.AddState();
    copies_.emplace(source, state);
    CopyInto(state, source);
    return state;
  }

  const AcyclicFst& fst_;
  Transducer& transducer_;
  std::unordered_map<StateId, uint32_t> copies_;
};

void AddExact(const ExactResults& exact, Transducer* transducer) {
  uint32_t state = 0;
  for (const char letter : exact.word) {
    state = transducer->Extend(state, letter, 0);
  }
  for (const std::string& result : exact.results) {
    transducer->states[transducer->ExtendWriting(state, result)].is_final = true;
  }
}

// What the compounds of one block accept. Their lemma is first part and joint
// followed by the lemma of the head, letter by letter like that.
StateId CompileCompound(const Compound& compound, const std::map<Branch, StateId>& branches,
                        AcyclicFst* fst) {
  std::vector<StateId> heads;
  for (const Branch& branch : compound.heads) {
    const auto found = branches.find(branch);
    if (found != branches.end()) {
      heads.push_back(found->second);
    }
  }
  const StateId head = fst->Unite(std::move(heads));
  std::vector<Path> paths;
  for (const std::string& part : compound.words) {
    const std::string letters = part + compound.joint;
    paths.push_back({Align(letters, letters), head});
  }
  const StateId joint = fst->FromPaths({{Align(compound.joint, compound.joint), head}});
  StateId letters = fst->Nothing();
  for (size_t left = 0; left < compound.most_letters; left++) {
    const bool may_end = left + 1 < compound.most_letters;  // not before the second letter
    const StateId target = fst->Unite({letters, may_end ? joint : fst->Nothing()});
    std::vector<AcyclicFst::Arc> arcs;
    for (uint8_t letter = 'a'; letter <= 'z'; letter++) {
      arcs.push_back({{letter, letter}, left == 0 ? joint : target});
    }
    letters = fst->Make(false, std::move(arcs));
  }
  paths.push_back({{}, letters});
  return fst->FromPaths(std::move(paths));
}

// Nothing is written before the whole key has been read, so that a search follows one path.
StateId CompileKeys(const std::map<std::string, std::string>& keys, AcyclicFst* fst) {
  std::vector<Path> paths;
  for (const auto& [key, result] : keys) {
    Path path = {Align(key, ""), fst->Empty()};
    for (const Pair& written : Align("", result)) {
      path.pairs.push_back(written);
    }
    paths.push_back(std::move(path));
  }
  return fst->FromPaths(std::move(paths));
}

}  // namespace

Transducer BuildBasqueLexicon(const Grammar& grammar) {
  AcyclicFst fst;
  std::map<Branch, StateId> branches = grammar.morphology.Compile(&fst);
  // What the grammar's own words give does not come a second time.
  for (auto& [branch, words] : branches) {
    const auto own = branches.find({branch.category, ""});
    if (branch.strength == kRest && own != branches.end()) {
      words = fst.Minus(words, own->second);
    }
  }
  for (const Compound& compound : grammar.compounds) {
    const StateId state = CompileCompound(compound, branches, &fst);
    StateId& words = branches[compound.branch];
    words = fst.Unite({words, state});
  }
  Transducer lexicon;
  std::vector<std::string> exact_words;
  for (const ExactResults& exact : grammar.exact) {
    AddExact(exact, &lexicon);
    exact_words.push_back(exact.word);
  }
  Copier copier(fst, &lexicon);
  copier.CopyInto(0, CompileKeys(grammar.keys, &fst));
  for (const Branch& branch : grammar.order) {
    const auto found = branches.find(branch);
    if (found == branches.end()) {
      continue;
    }
    const StateId start = fst.Without(found->second, exact_words);
    copier.CopyInto(lexicon.ExtendWriting(0, branch.category + "/"), start);
    branches.erase(found);
  }
  for (const Compound& compound : grammar.compounds) {
    for (const Branch& head : compound.heads) {
      branches.erase(head);  // may be no word by itself
    }
  }
  if (!branches.empty()) {
    throw BuildError("there are words in " + NameOf(branches.begin()->first) +
                     ", which has no place in the order");
  }
  return lexicon;
}

}  // namespace lexicon_compiler
