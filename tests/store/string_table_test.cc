// Numbers for strings, and what a handle remembers in them.
#include <gtest/gtest.h>

#include <string>

#include "base/string_table.h"
#include "store/article/known_pairs.h"

namespace {

using ostren::fenra::StringTable;
using ostren::fenra::store::KnownPairs;

TEST(StringTableTest, NumbersStringsOnce) {
  StringTable table;
  EXPECT_FALSE(table.contains(""));
  for (int round = 0; round < 2; ++round) {
    for (guint32 i = 0; i < 20000; ++i) {
      const std::string string = std::to_string(i) + std::string(i % 300, 'x') + '\0';
      bool is_new = false;
      EXPECT_EQ(table.number(string, &is_new), i);
      EXPECT_EQ(is_new, round == 0) << i;
      EXPECT_EQ(table[i], string);
    }
  }
  ASSERT_EQ(table.size(), 20000U);
  EXPECT_FALSE(table.contains("20000"));
  table.clear();
  EXPECT_EQ(table.size() + table.bytes(), 0U);
  EXPECT_EQ(table.number(""), 0U);
  EXPECT_TRUE(table.contains(""));
}

TEST(KnownPairsTest, ForgetsWhatWasNotMetForLong) {
  KnownPairs known;
  const std::string padding(100, 'x');
  for (int i = 0; i < 100000; ++i) {
    known.add(std::to_string(i), padding);
    ASSERT_TRUE(known.contains("0", padding)) << i;
  }
  EXPECT_FALSE(known.contains("1", padding));
  EXPECT_TRUE(known.contains("99999", padding));
  EXPECT_FALSE(known.contains("9999", "9" + padding));
}

}  // namespace
