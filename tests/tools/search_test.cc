// Searches of transducers against all their paths, and what searches can cost
// against what they did.
#include "tests/tools/engine.h"
#include "tests/tools/reference.h"
#include "tools/lexicon_check/search_cost.h"
#include "tools/lexicon_compiler/search_bound.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT
using lexicon_check::MeasureSearchCost;
using lexicon_check::SearchCost;
using testing::HasSubstr;

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

TEST(Search, FollowsTheOrderOfArcsAndReachesTheBounds) {
  Random random(6);
  const std::vector<std::string> words = Words(6);
  int loaded = 0;
  int exact = 0;
  for (int round = 0; round < 1000; ++round) {
    const Transducer transducer = Minimise(RandomTransducer(&random, 8));
    if (transducer.states[0].arcs.empty()) {
      continue;
    }
    ++loaded;
    const FstPtr fst = Load(transducer);
    ASSERT_NE(fst, nullptr);
    Cost most{};
    for (const std::string& word : words) {
      ASSERT_EQ(LookUp(fst, word), PathResults(transducer, word)) << round << ' ' << word;
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
  EXPECT_GT(loaded, 500);
  EXPECT_GT(exact, loaded / 2);
}

FstPtr FromText(const std::string& arcs_and_finals) {
  return FstPtr(lk_fst_new_from_att_string((arcs_and_finals + "0 @0@\n3 a\n4 b\n").c_str()));
}

TEST(SearchCost, GrowsWithTheWaysNotWithTheStates) {
  std::string text;
  for (int state = 0; state < 40; ++state) {
    const std::string arc = std::to_string(state) + ' ' + std::to_string(state + 1) + " 0 0\n";
    text += arc + arc;
  }
  SearchCost cost;
  ASSERT_EQ(MeasureSearchCost(FromText(text + "40\n").get(), &cost), "");
  EXPECT_EQ(cost.open_entries, 81);
  EXPECT_EQ(cost.expansions, 2199023255551);  // 2^41 - 1
}

TEST(SearchCost, RefusesWhatHasNoneOrIsDamaged) {
  const auto fault_of = [](const FstPtr& fst) {
    SearchCost cost;
    return MeasureSearchCost(fst.get(), &cost);
  };
  EXPECT_THAT(fault_of(FromText("0 1 0 0\n1 0 0 0\n1\n")), HasSubstr("cycle"));
  EXPECT_THAT(fault_of(FromText("0 0 3 3\n0\n")), HasSubstr("cycle"));
  // A cycle that no search comes to does no harm.
  EXPECT_EQ(fault_of(FromText("0 2 3 3\n1 1 3 3\n2\n")), "");

  std::string many;
  for (int i = 0; i < 600; ++i) {
    many += "0 1 3 3\n";
  }
  EXPECT_THAT(fault_of(FromText(many + "1\n")), HasSubstr("600 arcs"));

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
    EXPECT_THAT(fault_of(fst), HasSubstr(fault));
    EXPECT_EQ(fault_of(fst).empty(), fault[0] == '\0');
  }
}

}  // namespace
