// What transducers spell, by following every path, and small ones to try.
#ifndef FENRA_TESTS_TOOLS_REFERENCE_H
#define FENRA_TESTS_TOOLS_REFERENCE_H

#include <functional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/lexicon_compiler/transducer.h"

namespace fenra_test {

using Random = std::mt19937;

// Labels come from epsilon, a, b on either side. Not deterministic, with arcs of
// two epsilons and states that lead nowhere.
inline lexicon_compiler::Transducer RandomTransducer(Random* random, uint32_t max_states) {
  const auto below = [random](uint32_t bound) {
    return static_cast<uint32_t>((*random)() % bound);
  };
  lexicon_compiler::Transducer transducer;
  const uint32_t states = 2 + below(max_states - 1);
  while (transducer.states.size() < states) {
    transducer.AddState();
  }
  constexpr char kLabels[] = {'\0', 'a', 'b'};
  for (uint32_t source = 0; source + 1 < states; ++source) {
    for (uint32_t arcs = below(6); arcs > 0; --arcs) {
      const uint32_t target = source + 1 + below(states - source - 1);
      transducer.AddArc(source, kLabels[below(3)], kLabels[below(3)], target);
    }
  }
  for (lexicon_compiler::State& state : transducer.states) {
    state.is_final = below(4) == 0;
  }
  transducer.states.back().is_final = true;
  return transducer;
}

using Pairs = std::vector<std::pair<char, char>>;

// The pairs of labels of every path from `state` to a final state, without pairs
// of two epsilons, in the order of the arcs.
inline std::vector<Pairs> AllPaths(const lexicon_compiler::Transducer& transducer,
                                   uint32_t state = 0) {
  std::vector<Pairs> all;
  Pairs path;
  const std::function<void(uint32_t)> walk = [&](uint32_t at) {
    if (transducer.states[at].is_final) {
      all.push_back(path);
    }
    for (const lexicon_compiler::Arc& arc : transducer.states[at].arcs) {
      const bool silent = arc.lower == 0 && arc.upper == 0;
      if (!silent) {
        path.emplace_back(arc.lower, arc.upper);
      }
      walk(arc.target);
      if (!silent) {
        path.pop_back();
      }
    }
  };
  walk(state);
  return all;
}

inline std::set<Pairs> Relation(const lexicon_compiler::Transducer& transducer) {
  const std::vector<Pairs> all = AllPaths(transducer);
  return {all.begin(), all.end()};
}

// What is written for `word`, in the order that the arcs ask for: a state's own
// result, then the arcs of the next letter in their order, then the arcs that
// read nothing in theirs.
inline std::vector<std::string> PathResults(const lexicon_compiler::Transducer& transducer,
                                            const std::string& word) {
  std::vector<std::string> results;
  const std::function<void(uint32_t, size_t, const std::string&)> walk =
      [&](uint32_t state, size_t read, const std::string& written) {
        if (transducer.states[state].is_final && read == word.size()) {
          results.push_back(written);
        }
        for (const bool silent : {false, true}) {
          for (const lexicon_compiler::Arc& arc : transducer.states[state].arcs) {
            if (silent ? arc.lower == 0 : read < word.size() && arc.lower == word[read]) {
              walk(arc.target, read + (silent ? 0 : 1),
                   arc.upper == 0 ? written : written + arc.upper);
            }
          }
        }
      };
  walk(0, 0, "");
  return results;
}

}  // namespace fenra_test

#endif  // FENRA_TESTS_TOOLS_REFERENCE_H
