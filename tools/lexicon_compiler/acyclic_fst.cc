#include "tools/lexicon_compiler/acyclic_fst.h"

#include <algorithm>

namespace lexicon_compiler {

namespace {

// One round of the 64-bit mixer of splitmix64.
uint64_t Mix(uint64_t hash, uint64_t value) {
  uint64_t z = hash + 0x9e3779b97f4a7c15u + value;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
  return z ^ (z >> 31);
}

bool ByPair(const AcyclicFst::Arc& a, const AcyclicFst::Arc& b) {
  return a.pair == b.pair ? a.target < b.target : a.pair < b.pair;
}

}  // namespace

std::vector<Pair> Align(std::string_view lower, std::string_view upper) {
  std::vector<Pair> pairs(std::max(lower.size(), upper.size()));
  for (size_t i = 0; i < pairs.size(); i++) {
    pairs[i].lower = i < lower.size() ? static_cast<uint8_t>(lower[i]) : 0;
    pairs[i].upper = i < upper.size() ? static_cast<uint8_t>(upper[i]) : 0;
  }
  return pairs;
}

size_t AcyclicFst::StatesHash::operator()(const std::vector<StateId>& states) const {
  uint64_t hash = 0;
  for (StateId state : states) {
    hash = Mix(hash, state);
  }
  return hash;
}

AcyclicFst::AcyclicFst() {
  Intern(false, {});
  Intern(true, {});
}

StateId AcyclicFst::Intern(bool is_final, std::vector<Arc> arcs) {
  uint64_t hash = is_final;
  for (const Arc& arc : arcs) {
    hash = Mix(hash, uint64_t{arc.pair.lower} << 40 | uint64_t{arc.pair.upper} << 32 | arc.target);
  }
  const auto [begin, end] = by_content_.equal_range(hash);
  for (auto it = begin; it != end; ++it) {
    const Node& node = states_[it->second];
    if (node.is_final == is_final && node.arcs == arcs) {
      return it->second;
    }
  }
  const StateId state = static_cast<StateId>(states_.size());
  states_.push_back({is_final, std::move(arcs)});
  by_content_.emplace(hash, state);
  return state;
}

StateId AcyclicFst::Make(bool is_final, std::vector<Arc> arcs) {
  arcs.erase(std::remove_if(arcs.begin(), arcs.end(),
                            [this](const Arc& arc) { return arc.target == Nothing(); }),
             arcs.end());
  std::sort(arcs.begin(), arcs.end(), ByPair);
  std::vector<Arc> merged;
  for (size_t i = 0; i < arcs.size();) {
    std::vector<StateId> targets;
    const Pair pair = arcs[i].pair;
    for (; i < arcs.size() && arcs[i].pair == pair; i++) {
      targets.push_back(arcs[i].target);
    }
    merged.push_back({pair, Unite(std::move(targets))});
  }
  return Intern(is_final, std::move(merged));
}

StateId AcyclicFst::Unite(std::vector<StateId> states) {
  std::sort(states.begin(), states.end());
  states.erase(std::unique(states.begin(), states.end()), states.end());
  if (!states.empty() && states.front() == Nothing()) {
    states.erase(states.begin());
  }
  if (states.empty()) {
    return Nothing();
  }
  if (states.size() == 1) {
    return states.front();
  }
  const auto known = unions_.find(states);
  if (known != unions_.end()) {
    return known->second;
  }
  bool is_final = false;
  std::vector<Arc> arcs;
  for (StateId state : states) {
    is_final |= IsFinal(state);
    arcs.insert(arcs.end(), Arcs(state).begin(), Arcs(state).end());
  }
  const StateId united = Make(is_final, std::move(arcs));
  unions_.emplace(std::move(states), united);
  return united;
}

StateId AcyclicFst::FromPaths(std::vector<Path> paths) {
  std::sort(paths.begin(), paths.end(), [](const Path& a, const Path& b) {
    return std::lexicographical_compare(a.pairs.begin(), a.pairs.end(), b.pairs.begin(),
                                        b.pairs.end());
  });
  return FromSorted(paths, 0, paths.size(), 0);
}

// The paths from `begin` to `end` agree in their first `depth` pairs.
StateId AcyclicFst::FromSorted(const std::vector<Path>& paths, size_t begin, size_t end,
                               size_t depth) {
  std::vector<StateId> parts;
  for (; begin < end && paths[begin].pairs.size() == depth; begin++) {
    parts.push_back(paths[begin].tail);
  }
  std::vector<Arc> arcs;
  while (begin < end) {
    const Pair pair = paths[begin].pairs[depth];
    size_t group = begin;
    while (group < end && paths[group].pairs[depth] == pair) {
      group++;
    }
    arcs.push_back({pair, FromSorted(paths, begin, group, depth + 1)});
    begin = group;
  }
  if (!arcs.empty()) {
    parts.push_back(Make(false, std::move(arcs)));
  }
  return Unite(std::move(parts));
}

StateId AcyclicFst::Without(StateId state, const std::vector<std::string>& words) {
  if (words.empty() || state == Nothing()) {
    return state;
  }
  const bool drops_empty = std::find(words.begin(), words.end(), std::string()) != words.end();
  std::vector<Arc> arcs = Arcs(state);
  for (Arc& arc : arcs) {
    if (arc.pair.lower == 0) {
      arc.target = Without(arc.target, words);
      continue;
    }
    std::vector<std::string> rest;
    for (const std::string& word : words) {
      if (!word.empty() && static_cast<uint8_t>(word[0]) == arc.pair.lower) {
        rest.push_back(word.substr(1));
      }
    }
    arc.target = Without(arc.target, rest);
  }
  return Make(IsFinal(state) && !drops_empty, std::move(arcs));
}

StateId AcyclicFst::Minus(StateId state, StateId other) {
  if (state == Nothing() || other == Nothing()) {
    return state;
  }
  const auto known = differences_.find({state, other});
  if (known != differences_.end()) {
    return known->second;
  }
  std::vector<Arc> arcs = Arcs(state);
  for (Arc& arc : arcs) {
    const std::vector<Arc>& others = Arcs(other);
    const auto match = std::find_if(others.begin(), others.end(),
                                    [&](const Arc& o) { return o.pair == arc.pair; });
    if (match != others.end()) {
      arc.target = Minus(arc.target, match->target);
    }
  }
  const StateId difference = Make(IsFinal(state) && !IsFinal(other), std::move(arcs));
  differences_.emplace(std::make_pair(state, other), difference);
  return difference;
}

}  // namespace lexicon_compiler
