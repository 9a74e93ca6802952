// The costs that the check computes, against those of searches; and what it lets
// through.
#include "tools/lexicon_check/search_cost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.h"

namespace lexicon_check {
namespace {

using testing::HasSubstr;

using Fst = std::unique_ptr<LkFst, void (*)(LkFst*)>;

Fst FromText(const std::string& arcs_and_finals) {
  const std::string text = arcs_and_finals + "0 @0@\n3 a\n4 b\n5 c\n";
  return Fst(lk_fst_new_from_att_string(text.c_str()), lk_fst_free);
}

// A state's arcs lead to later states only.
Fst RandomAcyclic(std::mt19937* random) {
  const unsigned states = 2 + (*random)() % 6;
  std::string text;
  for (unsigned source = 0; source + 1 < states; ++source) {
    // State 0 needs an arc.
    for (unsigned arcs = (*random)() % 4 + (source == 0 ? 1 : 0); arcs > 0; --arcs) {
      const unsigned target = source + 1 + (*random)() % (states - source - 1);
      const unsigned labels[] = {0, 3, 3, 4, 5};
      text += std::to_string(source) + ' ' + std::to_string(target) + " 3 " +
              std::to_string(labels[(*random)() % 5]) + '\n';
    }
  }
  return FromText(text + "0\n");
}

int peak;
int expansions;

void PushAndCount(LkLookIterator* stack, LookState* state, LkFst* fst, Node* node) {
  look_stack_push_transitions_sorted(stack, state, fst, node);
  peak = std::max(peak, stack->top);
  ++expansions;
}

// The largest costs over all words of up to `length` letters, longer than any way
// through the transducer.
SearchCost CostOfAllWords(LkFst* fst, size_t length) {
  SearchCost most;
  std::vector<std::string> words{""};
  for (size_t i = 0; i < words.size(); ++i) {
    for (const char letter : {'a', 'b', 'c'}) {
      if (words[i].size() < length) {
        words.push_back(words[i] + letter);
      }
    }
    LkLookIterator search;
    lk_look_iterator_init(&search, fst, words[i].c_str(), LK_LOOK_UP);
    search.push_transitions = PushAndCount;
    peak = expansions = 0;
    for (char result[16]; lk_look_iterator_next(&search, result, sizeof result) != 0;) {
    }
    most.open_entries = std::max(most.open_entries, peak);
    most.expansions = std::max<double>(most.expansions, expansions);
  }
  return most;
}

TEST(SearchCost, IsThatOfTheWorstWord) {
  std::mt19937 random(1);
  int exact = 0;
  for (int round = 0; round < 300; ++round) {
    const Fst fst = RandomAcyclic(&random);
    SearchCost cost;
    ASSERT_EQ(MeasureSearchCost(fst.get(), &cost), "");
    const SearchCost found = CostOfAllWords(fst.get(), 6);
    ASSERT_EQ(cost.open_entries, found.open_entries) << round;
    ASSERT_GE(cost.expansions, found.expansions) << round;
    exact += cost.expansions == found.expansions ? 1 : 0;
  }
  EXPECT_GT(exact, 150);
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
  const auto fault_of = [](const Fst& fst) {
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

  const auto damaged = [&](const auto& damage) {
    const Fst fst = FromText("0 1 3 3\n0 1 3 4\n1 2 3 3\n2\n");
    damage(fst.get());
    return fault_of(fst);
  };
  EXPECT_EQ(damaged([](LkFst*) {}), "");
  EXPECT_THAT(damaged([](LkFst* fst) { fst->flags = LK_FST_SORTED_UPPER; }), HasSubstr("sorted"));
  EXPECT_THAT(damaged([](LkFst* fst) { std::swap(fst->data[0].lower, fst->data[1].lower); }),
              HasSubstr("sorted are not (cell 1)"));
  EXPECT_THAT(damaged([](LkFst* fst) { EDGE_SET_NEXT(&fst->data[2], 4); }),
              HasSubstr("out of the cells (cell 2)"));
  EXPECT_THAT(damaged([](LkFst* fst) { EDGE_SET_NEXT(&fst->data[0], 1); }),
              HasSubstr("not lead to a state (cell 0)"));
  EXPECT_THAT(damaged([](LkFst* fst) { fst->data[2].edge_count = 3; }),
              HasSubstr("run out of the cells (cell 2)"));
  EXPECT_THAT(damaged([](LkFst* fst) { fst->data_size = 0; }), HasSubstr("no states"));
}

// ---- the program ----

class LexiconCheckTest : public testing::Test {
 protected:
  // Checks the transducer and returns what the program writes to standard error.
  std::string Check(const Fst& fst) {
    EXPECT_EQ(lk_fst_save_to_binary_file(fst.get(), file_.c_str()), 0);
    return CheckFile();
  }
  std::string CheckFile() {
    std::filesystem::remove(copy_);
    const std::string errors = directory_ / "errors";
    const std::string command =
        "'" FENRA_LEXICON_CHECK "' " + file_ + ' ' + copy_ + " >/dev/null 2>" + errors;
    const bool passed = std::system(command.c_str()) == 0;
    EXPECT_EQ(passed, std::filesystem::exists(copy_));
    std::ifstream read(errors);
    return {std::istreambuf_iterator<char>(read), {}};
  }

  TemporaryDirectory directory_;
  const std::string file_ = directory_ / "lexicon.fst";
  const std::string copy_ = directory_ / "copy.fst";
};

// A chain of states each of which needs two more entries than the next: the last
// one needs 1.
Fst DeepChain(int states) {
  std::string text;
  for (int state = 0; state + 1 < states; ++state) {
    const std::string arc = std::to_string(state) + ' ' + std::to_string(state + 1);
    text += arc + " 0 0\n" + arc + " 3 3\n";
  }
  return FromText(text + std::to_string(states - 1) + '\n');
}

TEST_F(LexiconCheckTest, LetsThroughWhatIsSafe) {
  EXPECT_EQ(Check(FromText("0 1 3 3\n1\n")), "");
  std::ifstream file(file_, std::ios::binary);
  std::ifstream copy(copy_, std::ios::binary);
  EXPECT_TRUE(std::equal(std::istreambuf_iterator<char>(file), {},
                         std::istreambuf_iterator<char>(copy), {}));
}

TEST_F(LexiconCheckTest, StopsWhatIsNot) {
  EXPECT_THAT(Check(FromText("0 0 3 3\n0\n")), HasSubstr("cannot be embedded: there is a cycle"));
  EXPECT_THAT(Check(DeepChain(202)), HasSubstr("403 open entries; at most 400 are safe"));
  EXPECT_THAT(Check(DeepChain(60)), HasSubstr("more than 1000000 steps"));
  std::ofstream(file_) << "0 1 3 3\n";
  EXPECT_THAT(CheckFile(), HasSubstr("not a binary transducer file"));
}

}  // namespace
}  // namespace lexicon_check
