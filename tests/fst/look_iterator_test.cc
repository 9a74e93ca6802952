#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "fst_test_util.h"

namespace {

using Words = std::vector<std::string>;

// Arcs of the start state, all to one final state, with the results "0", "1", ... in
// cell order: what is found says in which order the arcs were taken.
Fst fan(const std::string& labels, int32_t flags) {
  const NodeIndex n = static_cast<NodeIndex>(labels.size());
  std::vector<Edge> cells;
  for (NodeIndex i = 0; i < n; ++i) {
    cells.push_back(cell(i == 0 ? 3 : 2, n, static_cast<EdgeCount>(i == 0 ? n : 0),
                         static_cast<Char>(labels[i]), '0' + static_cast<int>(i)));
  }
  cells.push_back(cell(9, 0, 0, 0, 0));
  return make_fst(cells, 2, n, flags);
}

// ---- random transducers against a search of all paths ----

struct Arc {
  size_t target;
  Char lower, upper;
};
struct Model {
  std::vector<std::vector<Arc>> states;
  std::vector<bool> finals;
};

// Arcs with an epsilon lead upwards, so that no cycle consumes nothing.
Model random_model(std::mt19937& random, unsigned most_arcs) {
  const Char labels[] = {0, 0, 1, 2, 'a', 'a', 'b', 'c', 200};
  Model model;
  model.states.resize(1 + random() % 7);
  for (size_t s = 0; s < model.states.size(); ++s) {
    model.finals.push_back(random() % 3 == 0);
    for (size_t n = random() % most_arcs; n > 0; --n) {
      const Arc arc{random() % model.states.size(), labels[random() % std::size(labels)],
                    labels[random() % std::size(labels)]};
      if ((arc.lower != 0 && arc.upper != 0) || arc.target > s) {
        model.states[s].push_back(arc);
      }
    }
  }
  return model;
}

Fst pack(const Model& model) {
  std::vector<NodeIndex> heads(model.states.size());
  NodeIndex next = 0;
  for (const bool with_arcs : {true, false}) {
    for (size_t s = 0; s < heads.size(); ++s) {
      if ((!model.states[s].empty() || s == 0) == with_arcs) {
        heads[s] = next;
        next += std::max<NodeIndex>(1, static_cast<NodeIndex>(model.states[s].size()));
      }
    }
  }
  std::vector<Edge> cells(next);
  NodeIndex edges = 0;
  for (size_t s = 0; s < heads.size(); ++s) {
    const std::vector<Arc>& arcs = model.states[s];
    Edge* const head = &cells[heads[s]];
    for (size_t i = 0; i < arcs.size(); ++i, ++edges) {
      head[i] = cell(EDGE_IS_EDGE | (i + 1 == arcs.size() ? EDGE_IS_LAST : 0),
                     heads[arcs[i].target], 0, arcs[i].lower, arcs[i].upper);
    }
    head->bits |= EDGE_IS_NODE | (model.finals[s] ? EDGE_IS_FINAL : 0);
    head->edge_count = static_cast<EdgeCount>(arcs.size());
  }
  return make_fst(cells, static_cast<NodeIndex>(heads.size()), edges, 0);
}

using Label = Char Arc::*;

// The arcs that can be taken, in the order in which a search explores them: from the
// last to the first, or, when a bisection looks for the byte, the matches before the one
// it meets, then the others from the last on, then the epsilons.
std::vector<size_t> taken(const std::vector<Arc>& arcs, const std::string& word, Label in,
                          bool sorted) {
  const Char byte = word.empty() ? 0 : static_cast<Char>(word[0]);
  std::vector<size_t> order, epsilons, matches;
  for (size_t i = 0; i < arcs.size(); ++i) {
    const Char label = arcs[i].*in;
    if (label == 0 || (label > 2 && label == byte)) {
      order.insert(order.begin(), i);
      (label == 0 ? epsilons : matches).push_back(i);
    }
  }
  if (!sorted || matches.empty()) {
    return order;
  }
  const size_t base = epsilons.size();
  size_t low = 0, high = arcs.size() - base, middle = high / 2;
  for (; arcs[base + middle].*in != byte; middle = (low + high) / 2) {
    if (arcs[base + middle].*in < byte) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  std::reverse(std::find(matches.begin(), matches.end(), base + middle), matches.end());
  matches.insert(matches.end(), epsilons.rbegin(), epsilons.rend());
  return matches;
}

// The results of every path from `state` that reads `word`.
void paths(const Model& model, size_t state, const std::string& word, Label in, Label out,
           bool sorted, const std::string& spelled, Words* results) {
  if (model.finals[state] && word.empty()) {
    results->push_back(spelled);
  }
  const std::vector<Arc>& arcs = model.states[state];
  for (const size_t i : taken(arcs, word, in, sorted)) {
    paths(model, arcs[i].target, arcs[i].*in == 0 ? word : word.substr(1), in, out, sorted,
          arcs[i].*out == 0 ? spelled : spelled + static_cast<char>(arcs[i].*out), results);
  }
}

TEST(LookIterator, FindsAllPathsOfRandomTransducers) {
  std::mt19937 random(3);
  const std::string alphabet = "abc\xc8";
  size_t found = 0;
  for (int i = 0; i < 1500; ++i) {
    Model model = random_model(random, i % 50 == 0 ? 40 : 9);  // a sort of many may not be stable
    const Fst fst = pack(model);
    std::string word;
    for (size_t n = random() % 5; n > 0; --n) {
      word += alphabet[random() % alphabet.size()];
    }
    Words sets[2];  // per direction: the results in alphabetical order
    // Unsorted, then sorted on the lower labels, the upper ones twice, the lower ones.
    for (const int sort : {-1, 0, 1, 1, 0}) {
      if (sort >= 0) {
        lk_fst_sort(fst.get(), sort == 0 ? LK_LOOK_UP : LK_LOOK_DOWN);
        ASSERT_EQ(sort == 0 ? LK_FST_SORTED_LOWER : LK_FST_SORTED_UPPER, fst->flags);
        const Label label = sort == 0 ? &Arc::lower : &Arc::upper;
        for (std::vector<Arc>& arcs : model.states) {
          std::stable_sort(arcs.begin(), arcs.end(),
                           [&](const Arc& a, const Arc& b) { return a.*label < b.*label; });
        }
        const Fst expected = pack(model);  // head cells, marks and counts in their places
        expected->flags = fst->flags;
        ASSERT_EQ(image(expected), image(fst));
      }
      for (const int direction : {0, 1}) {
        Words expected;
        paths(model, 0, word, direction == 0 ? &Arc::lower : &Arc::upper,
              direction == 0 ? &Arc::upper : &Arc::lower, sort == direction, "", &expected);
        ASSERT_EQ(expected, look(fst, word, static_cast<LkLookDirection>(direction)));
        found += expected.size();
        std::sort(expected.begin(), expected.end());
        if (sort < 0) {
          sets[direction] = expected;
        }
        ASSERT_EQ(sets[direction], expected);
      }
    }
  }
  EXPECT_GT(found, 1000U);
}

TEST(LookIterator, EpsilonOutOfOrderDoesNotStepOverTheEndOfTheWord) {
  const Fst fst = fan(std::string("a\0\0", 3), LK_FST_SORTED_LOWER);
  EXPECT_EQ(Words{}, look(fst, std::string(1, '\0')));
}

TEST(LookIterator, SpecialLabelsAreFoundInSortedArcsOnly) {
  EXPECT_EQ(Words{"1"}, look(fan("\1\2z", LK_FST_SORTED_LOWER), "\2"));
  EXPECT_EQ(Words{}, look(fan("\1\2z", LK_FST_SORTED_UPPER), "\2"));
}

TEST(LookIterator, ReportsAResultBeforeItsContinuationsAndStaysAtTheEnd) {
  const Fst fst = from_att("0 1 3 4\n1 1 3 4\n1 2 5 0\n1\n2\n3 X\n4 a\n5 Y\n");
  const Iterator it(lk_look_iterator_new());
  char out[4];
  lk_look_iterator_init(it.get(), fst.get(), "aaaaaa", LK_LOOK_UP);
  EXPECT_TRUE(it->search_cmp != nullptr &&
              it->push_transitions == look_stack_push_transitions_sorted);
  for (const int found : {1, 1, 0, 0}) {  // both results are cut
    EXPECT_EQ(found, lk_look_iterator_next(it.get(), out, sizeof out));
    EXPECT_STREQ("XXX", out);
  }
  EXPECT_EQ((Words{"X", "XY"}), look(fst, "a"));
  lk_look_iterator_init(it.get(), fst.get(), "XY", LK_LOOK_DOWN);
  EXPECT_TRUE(it->search_cmp == nullptr && it->push_transitions == look_stack_push_transitions);
  ASSERT_EQ(1, lk_look_iterator_next(it.get(), out, 1));
  EXPECT_STREQ("", out);
  // Labels are read through the fields, whoever set them.
  lk_look_iterator_init(it.get(), fst.get(), "XY", LK_LOOK_UP);
  it->input_label_getter = [](Edge* edge) -> Char { return edge->upper; };
  it->output_label_getter = [](Edge*) -> Char { return '!'; };
  it->push_transitions = look_stack_push_transitions;
  ASSERT_EQ(1, lk_look_iterator_next(it.get(), out, sizeof out));
  EXPECT_STREQ("!!", out);
}

TEST(LookIteratorDeathTest, HoldsFiveHundredAndTwelveEntries) {
  for (const int32_t flags : {0, +LK_FST_SORTED_LOWER}) {
    EXPECT_EQ(511U, look(fan(std::string(511, 'a'), flags), "a").size());
    EXPECT_EXIT(look(fan(std::string(512, 'a'), flags), "a"), testing::ExitedWithCode(1),
                "^Stack overflow look_iterator\\.cc:[0-9]+\n$");
  }
  EXPECT_EXIT(look(from_att("0 0 0 0\n0\n"), ""), testing::ExitedWithCode(1), "Stack overflow");
}

}  // namespace
