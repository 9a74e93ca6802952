// Stems and suffix classes, the form in which the grammar and the dictionary hand
// their words to the compiler. Inflected forms are never listed: a class is turned
// into states once for every way its stems leave the lemma unfinished.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_MORPHOLOGY_H
#define FENRA_TOOLS_LEXICON_COMPILER_MORPHOLOGY_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/lexicon_compiler/acyclic_fst.h"

namespace lexicon_compiler {

using ClassId = uint32_t;

// Where an analysis stands: its word class and how strong the evidence for it is
// (empty for the grammar's own words; otherwise a name such as "rest").
struct Branch {
  std::string category;
  std::string strength;
  bool operator<(const Branch& o) const {
    return category != o.category ? category < o.category : strength < o.strength;
  }
};

// "IZE" or "IZE.rest".
std::string NameOf(const Branch& branch);

// One suffix of a class.
struct Suffix {
  // How the stem, or the suffix in front, changes: `drop` letters are taken off its
  // end, and then its last letter is doubled.
  int drop = 0;
  bool doubles = false;

  std::string surface;

  // A derivation: the lemma is the stem followed by `tail`.
  bool derives = false;
  std::string tail;

  // The branch of the form; what is empty is as the stem has it.
  Branch branch;

  bool has_next = false;
  ClassId next = 0;  // whose suffixes follow, when has_next
};

struct Entry {
  Branch branch;
  std::string stem;
  std::string lemma;
  ClassId suffixes;
};

class Morphology {
 public:
  // The class of that name, which comes into being, empty, when it is new.
  ClassId ClassNamed(const std::string& name);
  const std::string& NameOfClass(ClassId id) const { return names_[id]; }
  std::vector<Suffix>& Suffixes(ClassId id) { return classes_[id]; }
  const std::vector<Suffix>& Suffixes(ClassId id) const { return classes_[id]; }

  void Add(Entry entry) { entries_.push_back(std::move(entry)); }
  const std::vector<Entry>& entries() const { return entries_; }

  // For every branch the state that accepts its words: the stem's letters and the
  // suffixes' on the lower side, LEMMA "+" on the upper one. Throws BuildError
  // when a class takes off more letters than there are, or follows itself.
  std::map<Branch, StateId> Compile(AcyclicFst* fst) const;

 private:
  std::map<std::string, ClassId> by_name_;
  std::vector<std::string> names_;
  std::vector<std::vector<Suffix>> classes_;
  std::vector<Entry> entries_;
};

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_MORPHOLOGY_H
