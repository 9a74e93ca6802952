// What searches can cost against what they did.
#include <random>

#include "tests/tools/engine.h"
#include "tools/lexicon_check/search_cost.h"
#include "tools/lexicon_compiler/search_bound.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT
using lexicon_check::MeasureSearchCost;
using lexicon_check::SearchCost;
using testing::HasSubstr;

using Random = std::mt19937;

// Labels come from epsilon, a, b on either side. Not deterministic, with arcs of
// two epsilons; every state can be reached, and some lead nowhere.
Transducer RandomTransducer(Random* random, uint32_t max_states) {
  const auto below = [random](uint32_t bound) {
    return static_cast<uint32_t>((*random)() % bound);
  };
  constexpr char kLabels[] = {'\0', 'a', 'b'};
  Transducer transducer;
  for (uint32_t states = 1 + below(max_states - 1); states > 0; --states) {
    const auto source = below(static_cast<uint32_t>(transducer.states.size()));
    transducer.Extend(source, kLabels[below(3)], kLabels[below(3)]);
  }
  const auto last = static_cast<uint32_t>(transducer.states.size() - 1);
  for (uint32_t source = 0; source < last; ++source) {
    for (uint32_t arcs = below(5); arcs > 0; --arcs) {
      const uint32_t target = source + 1 + below(last - source);
      transducer.AddArc(source, kLabels[below(3)], kLabels[below(3)], target);
    }
  }
  for (State& state : transducer.states) {
    state.is_final = below(4) == 0;
  }
  transducer.states.back().is_final = true;
  return transducer;
}

// All words over the alphabet of random transducers, up to the given length.
std::vector<std::string> Words(size_t length) {
  std::vector<std::string> words{""};
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i].size() < length) {
      words.push_back(words[i] + 'a');
      words.push_back(words[i] + 'b');
    }
  }
  return words;
}

TEST(SearchCost, IsWhatTheCostliestWordTakes) {
  constexpr int kRounds = 1000;
  constexpr uint32_t kWordLength = 6;  // no path reads more
  Random random(6);
  const std::vector<std::string> words = Words(kWordLength);
  int exact = 0;
  for (int round = 0; round < kRounds; ++round) {
    const Transducer transducer = RandomTransducer(&random, kWordLength + 1);
    const FstPtr fst = Load(transducer);
    ASSERT_NE(fst, nullptr);
    Cost most{};
    for (const std::string& word : words) {
      LookUp(fst, word);
      most.entries = std::max(most.entries, LastCost().entries);
      most.expansions = std::max(most.expansions, LastCost().expansions);
    }
    ASSERT_EQ(SearchBound(transducer), most.entries) << round;
    SearchCost cost;
    ASSERT_EQ(MeasureSearchCost(fst.get(), &cost), "");
    ASSERT_EQ(cost.open_entries, most.entries) << round;
    ASSERT_GE(cost.expansions, most.expansions) << round;
    exact += cost.expansions == most.expansions ? 1 : 0;
  }
  EXPECT_GT(exact, kRounds / 2);
}

FstPtr FromText(const std::string& arcs_and_finals) {
  return FstPtr(lk_fst_new_from_att_string((arcs_and_finals + "0 @0@\n3 a\n4 b\n").c_str()));
}

TEST(SearchCost, RefusesWhatIsDamaged) {
  const std::pair<void (*)(LkFst*), const char*> damages[] = {
      {[](LkFst*) {}, ""},
      {[](LkFst* fst) { fst->flags = LK_FST_SORTED_UPPER; }, "sorted"},
      {[](LkFst* fst) { std::swap(fst->data[0].lower, fst->data[1].lower); },
       "sorted are not (cell 1)"},
      {[](LkFst* fst) { EDGE_SET_NEXT(&fst->data[2], 4); }, "out of the cells (cell 2)"},
      {[](LkFst* fst) { EDGE_SET_NEXT(&fst->data[0], 1); }, "not lead to a state (cell 0)"},
      {[](LkFst* fst) { fst->data[2].edge_count = 3; }, "run out of the cells (cell 2)"},
      {[](LkFst* fst) { fst->data_size = 0; }, "no states"},
  };
  for (const auto& [damage, fault] : damages) {
    const FstPtr fst = FromText("0 1 3 3\n0 1 3 4\n1 2 3 3\n2\n");
    damage(fst.get());
    SearchCost cost;
    const std::string found = MeasureSearchCost(fst.get(), &cost);
    EXPECT_THAT(found, HasSubstr(fault));
    EXPECT_EQ(found.empty(), fault[0] == '\0');
  }
}

}  // namespace
