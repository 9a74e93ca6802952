// Sets of strings and what a handle remembers in them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/article/known_pairs.h"

namespace {

using ostren::fenra::StringSet;

TEST(StringSetTest, FindsWhatItHas) {
  StringSet set;
  EXPECT_FALSE(set.contains(""));
  for (int round = 0; round < 2; ++round) {
    for (size_t i = 0; i < 20000; ++i) {
      const std::string string(i % 300, static_cast<char>('a' + i % 7));
      EXPECT_EQ(set.add(std::to_string(i) + string), round == 0) << i;
    }
  }
  ASSERT_EQ(set.size(), 20000U);
  EXPECT_EQ(set[299], "299" + std::string(299, 'f'));
  EXPECT_FALSE(set.contains("20000"));
  set.clear();
  EXPECT_EQ(set.size() + set.bytes(), 0U);
  EXPECT_TRUE(set.add("299"));
}

// Of strings chosen to collide some may count as new again; none gets lost.
TEST(StringSetTest, CollidingStringsAreNumbered) {
  std::vector<std::string> colliding;
  for (int i = 0; colliding.size() < 200; ++i) {
    std::string string = std::to_string(i);
    if (std::hash<std::string_view>()(string) % 1024 == 5) {
      colliding.push_back(string);
    }
  }
  StringSet set;
  for (size_t i = 0; i < colliding.size(); ++i) {
    EXPECT_TRUE(set.add(colliding[i]));
    EXPECT_EQ(set[i], colliding[i]);
  }
  EXPECT_TRUE(set.contains(colliding[0]));
}

TEST(KnownPairsTest, ForgetsWhatWasNotMetForLong) {
  ArticledbKnownPairs known;
  const std::string padding(100, 'x');
  for (int i = 0; i < 100000; ++i) {
    known.add(std::to_string(i) + padding);
    ASSERT_TRUE(known.contains("0" + padding)) << i;
  }
  EXPECT_FALSE(known.contains("1" + padding));
  EXPECT_TRUE(known.contains("99999" + padding));
  EXPECT_FALSE(known.contains("100000" + padding));
}

}  // namespace
