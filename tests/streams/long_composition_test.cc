// Compositions of many streams: the union of a list against the chain of unions
// that defines it, long chains of cutters against plain recursion, and both on a
// small stack.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

#include "tests/streams/stub_generator.h"
#include "tests/support/small_stack.h"

namespace fenra_test {
namespace {

using Generators = std::vector<OstrenGenerator*>;

using Builder = OstrenGenerator* (*)(const Generators&);

// Ascending ids, close enough to collide, some of them several times over, and
// failures at random places.
Script randomScript(std::mt19937* random) {
  const auto chance = [random](unsigned one_in) { return (*random)() % one_in == 0; };
  const unsigned density = 1 + (*random)() % 4;
  const bool fails = chance(2);
  Script script;
  for (guint64 id = (*random)() % 12; id < 12; id += 1 + (*random)() % density) {
    do {
      script.push_back(fails && chance(6) ? kFail : id + 1);
    } while (chance(4));
  }
  return script;
}

// All that can be seen of a composition: the pulls of its inputs, its results
// with the owners of the elements, also after its end, and the frees.
Log transcript(const std::vector<Script>& scripts, Builder build) {
  Log log;
  std::deque<Stub> stubs;
  Generators inputs;
  for (const Script& script : scripts) {
    inputs.push_back(stubs.emplace_back(script, static_cast<int>(stubs.size()), &log).generator());
  }
  OstrenGenerator* result = build(inputs);
  for (int ends = 0; ends < 3;) {
    void* item = nullptr;
    const int status = ostren_generator_next(result, &item);
    const auto owner = std::find_if(stubs.begin(), stubs.end(),
                                    [item](const Stub& stub) { return stub.owns(item); });
    ends += status == 0 ? 1 : 0;
    log.insert(log.end(), {1000 + status, 1000 + static_cast<int>(owner - stubs.begin())});
    log.push_back(1000 + (status == 1 ? static_cast<int>(*static_cast<guint64*>(item)) : 0));
  }
  ostren_generator_free(result);
  return log;
}

void compareRandomly(unsigned most_inputs, Builder build, Builder reference) {
  for (unsigned seed = 0; seed < 10000; ++seed) {
    std::mt19937 random(seed);
    std::vector<Script> scripts(2 + random() % (most_inputs - 1));
    for (Script& script : scripts) {
      script = randomScript(&random);
    }
    ASSERT_EQ(transcript(scripts, reference), transcript(scripts, build)) << seed;
  }
}

OstrenGenerator* uniteList(const Generators& inputs) {
  GList* list = nullptr;
  for (auto input = inputs.rbegin(); input != inputs.rend(); ++input) {
    list = g_list_prepend(list, *input);
  }
  OstrenGenerator* result = ostren_generator_union_from_glist(list, guint64_cmp);
  g_list_free(list);
  return result;
}

OstrenGenerator* uniteAsChain(const Generators& inputs) {
  OstrenGenerator* result = inputs.back();
  for (std::size_t i = inputs.size() - 1; i-- > 0;) {
    result = ostren_sorted_generator_unioner_new(inputs[i], result, guint64_cmp);
  }
  return result;
}

TEST(UnionOfList, BehavesLikeTheChain) { compareRandomly(13, uniteList, uniteAsChain); }

TEST(UnionOfList, ShortLists) {
  GeneratorPtr empty(ostren_generator_union_from_glist(nullptr, guint64_cmp));
  EXPECT_EQ(Script{}, drain(empty.get()));
  Stub only({1, 2});
  EXPECT_EQ(only.generator(), uniteList({only.generator()}));
  EXPECT_EQ(0, only.pulls());
}

OstrenGenerator* cutAll(const Generators& inputs) {
  OstrenGenerator* result = inputs.front();
  for (std::size_t i = 1; i < inputs.size(); ++i) {
    result = articledb_guint64_cutter_new(result, inputs[i]);
  }
  return result;
}

// The same chain of cutters that do not look like cutters and so are called.
OstrenGenerator* cutRecursively(const Generators& inputs) {
  OstrenGenerator* result = inputs.front();
  for (std::size_t i = 1; i < inputs.size(); ++i) {
    result = articledb_guint64_cutter_new(result, inputs[i]);
    result->nextf = [](OstrenGenerator* gener, void** item) {
      return ostren_sorted_generator_cutter_next(gener, item);
    };
    result->freef = [](OstrenGenerator* gener) {
      return ostren_sorted_generator_cutter_free(gener);
    };
  }
  return result;
}

TEST(ChainOfCutters, BehavesLikeRecursion) { compareRandomly(6, cutAll, cutRecursively); }

// A cutter that has ended before it becomes the input of another.
TEST(ChainOfCutters, AcceptsAnEndedCutter) {
  Stub a({1}), b({2, 3}), c({3});
  OstrenGenerator* ended = articledb_guint64_cutter_new(a.generator(), b.generator());
  EXPECT_EQ(Script{}, drain(ended));
  const int pulls = a.pulls();
  GeneratorPtr outer(articledb_guint64_cutter_new(ended, c.generator()));
  EXPECT_EQ(Script{}, drain(outer.get()));
  EXPECT_EQ(pulls, a.pulls());
  outer.reset();
  EXPECT_EQ(1, a.frees() * b.frees() * c.frees());
}

constexpr guint64 kMany = 1000000;

// The n-th input is the range n, n + 1: the union is 1 to kMany + 1, in which
// every id but the two at the ends is a tie.
TEST(UnionOfList, OfAMillionStreamsFitsASmallStack) {
  guint64 in_order = 0;
  on_small_stack([&] {
    Generators ranges;
    for (guint64 n = 1; n <= kMany; ++n) {
      ranges.push_back(ostren_guint64_range_generator_new(n, n + 2));
    }
    const GeneratorPtr united(uniteList(ranges));
    while (pull(united.get()) == in_order + 1) {
      ++in_order;
    }
  });
  EXPECT_EQ(kMany + 1, in_order);
}

// Only the innermost stream lacks the ids 1 and 2, so that every cutter of the
// chain takes part in finding 3.
TEST(ChainOfCutters, OfAMillionStreamsFitsASmallStack) {
  Script pulls;
  on_small_stack([&] {
    Generators ranges = {ostren_guint64_range_generator_new(3, 6)};
    while (ranges.size() < kMany) {
      ranges.push_back(ostren_guint64_range_generator_new(1, 5));
    }
    const GeneratorPtr cut(cutAll(ranges));
    pulls = drain(cut.get());
  });
  EXPECT_EQ((Script{3, 4}), pulls);
}

}  // namespace
}  // namespace fenra_test
