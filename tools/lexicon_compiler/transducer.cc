#include "tools/lexicon_compiler/transducer.h"

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "tools/lexicon_compiler/build_error.h"
#include "tools/lexicon_compiler/postorder.h"

namespace lexicon_compiler {

namespace {

// FNV-1a over the 32-bit words of a key.
struct WordsHash {
  size_t operator()(const std::vector<uint32_t>& words) const {
    uint64_t hash = 0xcbf29ce484222325;
    for (const uint32_t word : words) {
      hash = (hash ^ word) * 0x100000001b3;
    }
    return hash;
  }
};
using WordsTable = std::unordered_map<std::vector<uint32_t>, uint32_t, WordsHash>;

uint32_t PairOf(const Arc& arc) {
  return uint32_t{static_cast<uint8_t>(arc.lower)} << 8 | static_cast<uint8_t>(arc.upper);
}

// The subset construction. A subset is a sorted list of states, closed under arcs
// of two epsilons.
class SubsetConstruction {
 public:
  explicit SubsetConstruction(const Transducer& source)
      : source_(source), seen_(source.states.size()) {}

  Transducer Run() {
    StateOf({0});
    for (size_t next = 0; next < subsets_.size(); ++next) {
      Expand(static_cast<uint32_t>(next));
    }
    return std::move(result_);
  }

 private:
  // The state of the subset that is the closure of `members`.
  uint32_t StateOf(std::vector<uint32_t> members) {
    for (const uint32_t member : members) {
      seen_[member] = true;
    }
    for (size_t i = 0; i < members.size(); ++i) {
      for (const Arc& arc : source_.states[members[i]].arcs) {
        if (PairOf(arc) == 0 && !seen_[arc.target]) {
          seen_[arc.target] = true;
          members.push_back(arc.target);
        }
      }
    }
    for (const uint32_t member : members) {
      seen_[member] = false;
    }
    std::sort(members.begin(), members.end());
    const auto next = static_cast<uint32_t>(subsets_.size());
    const auto [entry, added] = state_of_subset_.emplace(std::move(members), next);
    if (added) {
      if (next > 0) {
        result_.AddState();
      }
      subsets_.push_back(&entry->first);  // keys of the table never move
    }
    return entry->second;
  }

  void Expand(uint32_t state) {
    std::map<uint32_t, std::vector<uint32_t>> targets;  // by pair
    for (const uint32_t member : *subsets_[state]) {
      const State& source = source_.states[member];
      result_.states[state].is_final |= source.is_final;
      for (const Arc& arc : source.arcs) {
        if (PairOf(arc) != 0) {
          targets[PairOf(arc)].push_back(arc.target);
        }
      }
    }
    for (auto& [pair, members] : targets) {
      std::sort(members.begin(), members.end());
      members.erase(std::unique(members.begin(), members.end()), members.end());
      const uint32_t target = StateOf(std::move(members));
      result_.AddArc(state, static_cast<char>(pair >> 8), static_cast<char>(pair & 0xff), target);
    }
  }

  const Transducer& source_;
  std::vector<bool> seen_;  // scratch of StateOf
  Transducer result_;
  WordsTable state_of_subset_;
  std::vector<const std::vector<uint32_t>*> subsets_;  // by state
};

// Renumbers by first visit from the start, so that the result does not depend on
// the order in which states were made.
Transducer Renumber(const Transducer& transducer, uint32_t start) {
  constexpr uint32_t kNone = UINT32_MAX;
  std::vector<uint32_t> number_of(transducer.states.size(), kNone);
  std::vector<uint32_t> visited{start};
  number_of[start] = 0;
  Transducer result;
  result.states.clear();
  for (size_t i = 0; i < visited.size(); ++i) {
    State state = transducer.states[visited[i]];
    for (Arc& arc : state.arcs) {
      if (number_of[arc.target] == kNone) {
        number_of[arc.target] = static_cast<uint32_t>(visited.size());
        visited.push_back(arc.target);
      }
      arc.target = number_of[arc.target];
    }
    result.states.push_back(std::move(state));
  }
  return result;
}

// The part of `transducer` whose paths a finite automaton accepts. The automaton
// starts in state 0 and goes from one state to the next with next(state, arc).
template <typename Next, typename Accepts>
Transducer Restrict(const Transducer& transducer, Next next, Accepts accepts) {
  using Key = std::pair<uint32_t, uint32_t>;  // transducer, automaton
  std::map<Key, uint32_t> state_of{{Key(0, 0), 0}};
  std::vector<Key> keys{Key(0, 0)};
  Transducer result;
  for (uint32_t i = 0; i < keys.size(); ++i) {
    const auto [index, watcher] = keys[i];
    const State& state = transducer.states[index];
    result.states[i].is_final = state.is_final && accepts(watcher);
    for (const Arc& arc : state.arcs) {
      const Key key(arc.target, next(watcher, arc));
      const auto [entry, added] = state_of.emplace(key, static_cast<uint32_t>(keys.size()));
      if (added) {
        keys.push_back(key);
        result.AddState();
      }
      result.AddArc(i, arc.lower, arc.upper, entry->second);
    }
  }
  return result;
}

// The automaton of marked copies.
enum CopyStage : uint32_t { kCopying, kMarked, kOther };

uint32_t NextStage(uint32_t stage, const Arc& arc, char mark) {
  if (stage == kCopying && arc.lower == arc.upper) {
    return kCopying;
  }
  return stage == kCopying && arc.lower == 0 && arc.upper == mark ? kMarked : kOther;
}

}  // namespace

uint32_t Transducer::AddState() {
  states.emplace_back();
  return static_cast<uint32_t>(states.size() - 1);
}

void Transducer::AddArc(uint32_t source, char lower, char upper, uint32_t target) {
  states[source].arcs.push_back({lower, upper, target});
}

uint32_t Transducer::Extend(uint32_t source, char lower, char upper) {
  const uint32_t target = AddState();
  AddArc(source, lower, upper, target);
  return target;
}

uint32_t Transducer::ExtendWriting(uint32_t source, std::string_view output) {
  for (const char byte : output) {
    source = Extend(source, 0, byte);
  }
  return source;
}

size_t Transducer::CountArcs() const {
  size_t count = 0;
  for (const State& state : states) {
    count += state.arcs.size();
  }
  return count;
}

Transducer Determinise(const Transducer& transducer) {
  return SubsetConstruction(transducer).Run();
}

Transducer Minimise(const Transducer& transducer) {
  std::vector<uint32_t> order;
  if (!PostOrder(transducer.states, &order)) {
    throw BuildError("a transducer with cycles cannot be minimised bottom-up");
  }
  Transducer merged;
  merged.states.clear();
  WordsTable state_of_content;  // finality and arcs, with merged targets
  std::vector<uint32_t> merged_of(transducer.states.size());
  std::vector<bool> live(transducer.states.size());
  uint32_t start = 0;
  for (const uint32_t index : order) {
    State state;
    state.is_final = transducer.states[index].is_final;
    std::vector<uint32_t> content{state.is_final ? 1U : 0U};
    for (const Arc& arc : transducer.states[index].arcs) {
      if (live[arc.target]) {
        state.arcs.push_back({arc.lower, arc.upper, merged_of[arc.target]});
        content.push_back(PairOf(arc));
        content.push_back(merged_of[arc.target]);
      }
    }
    live[index] = state.is_final || !state.arcs.empty();
    const auto next = static_cast<uint32_t>(merged.states.size());
    const auto [entry, added] = state_of_content.emplace(std::move(content), next);
    if (added) {
      merged.states.push_back(std::move(state));
    }
    merged_of[index] = entry->second;
    start = entry->second;  // the start comes last
  }
  return Renumber(merged, start);
}

Transducer WithoutWords(const Transducer& transducer, const std::vector<std::string>& words) {
  // What has been read, while that is still the beginning of a word.
  std::vector<std::string> beginnings{""};
  for (const std::string& word : words) {
    for (size_t length = 1; length <= word.size(); ++length) {
      beginnings.push_back(word.substr(0, length));
    }
  }
  const auto none = static_cast<uint32_t>(beginnings.size());
  return Restrict(
      transducer,
      [&](uint32_t read, const Arc& arc) {
        if (read == none || arc.lower == 0) {
          return read;
        }
        const auto after =
            std::find(beginnings.begin(), beginnings.end(), beginnings[read] + arc.lower);
        return static_cast<uint32_t>(after - beginnings.begin());
      },
      [&](uint32_t read) {
        return read == none ||
               std::find(words.begin(), words.end(), beginnings[read]) == words.end();
      });
}

Transducer MarkedCopies(const Transducer& transducer, char mark) {
  return Restrict(
      transducer, [mark](uint32_t stage, const Arc& arc) { return NextStage(stage, arc, mark); },
      [](uint32_t stage) { return stage == kMarked; });
}

Transducer WithoutMarkedCopies(const Transducer& transducer, char mark) {
  return Restrict(
      transducer, [mark](uint32_t stage, const Arc& arc) { return NextStage(stage, arc, mark); },
      [](uint32_t stage) { return stage != kMarked; });
}

}  // namespace lexicon_compiler
