// Minimal acyclic letter transducers, built bottom-up. A state is identified by
// what it accepts: equal states are one state, so whatever is built out of them
// is minimal without a later pass.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_ACYCLIC_FST_H
#define FENRA_TOOLS_LEXICON_COMPILER_ACYCLIC_FST_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lexicon_compiler {

using StateId = uint32_t;

// A pair of labels; 0 is epsilon.
struct Pair {
  uint8_t lower;
  uint8_t upper;
  bool operator==(const Pair& o) const { return lower == o.lower && upper == o.upper; }
  bool operator<(const Pair& o) const {
    return lower != o.lower ? lower < o.lower : upper < o.upper;
  }
};

// A sequence of pairs that goes on in `tail`.
struct Path {
  std::vector<Pair> pairs;
  StateId tail;
};

// Pairs the letters of `lower` with those of `upper` position by position,
// epsilon filling the shorter one. Equal strings thus always give equal paths,
// which is what lets different entries share states.
std::vector<Pair> Align(std::string_view lower, std::string_view upper);

class AcyclicFst {
 public:
  struct Arc {
    Pair pair;
    StateId target;
    bool operator==(const Arc& o) const { return pair == o.pair && target == o.target; }
  };

  AcyclicFst();

  StateId Nothing() const { return 0; }  // accepts nothing
  StateId Empty() const { return 1; }    // accepts the empty word only

  // The state with these arcs. Several arcs may carry one pair; their targets
  // are united. Arcs to Nothing() are left out.
  StateId Make(bool is_final, std::vector<Arc> arcs);

  // Accepts what any of the states accepts.
  StateId Unite(std::vector<StateId> states);

  // Accepts the paths. Takes time in the paths' total length.
  StateId FromPaths(std::vector<Path> paths);

  // What `state` accepts, less every path whose lower side spells one of `words`.
  StateId Without(StateId state, const std::vector<std::string>& words);

  // What `state` accepts and `other` does not, path by path.
  StateId Minus(StateId state, StateId other);

  bool IsFinal(StateId state) const { return states_[state].is_final; }
  const std::vector<Arc>& Arcs(StateId state) const { return states_[state].arcs; }

 private:
  struct Node {
    bool is_final;
    std::vector<Arc> arcs;  // ascending by pair, each pair once
  };

  struct StatesHash {
    size_t operator()(const std::vector<StateId>& states) const;
  };

  StateId Intern(bool is_final, std::vector<Arc> arcs);
  StateId FromSorted(const std::vector<Path>& paths, size_t begin, size_t end, size_t depth);

  std::vector<Node> states_;
  std::unordered_multimap<uint64_t, StateId> by_content_;
  std::unordered_map<std::vector<StateId>, StateId, StatesHash> unions_;
  std::map<std::pair<StateId, StateId>, StateId> differences_;
};

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_ACYCLIC_FST_H
