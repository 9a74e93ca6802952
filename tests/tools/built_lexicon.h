// What every lexicon that the build makes promises.
#ifndef FENRA_TESTS_TOOLS_BUILT_LEXICON_H
#define FENRA_TESTS_TOOLS_BUILT_LEXICON_H

#include <string>

#include "tests/tools/engine.h"

namespace fenra_test {

// Checks the first result of words; words and results take turns in the text.
inline void ExpectFirstResults(const FstPtr& lexicon, const std::string& words_and_results) {
  const std::vector<std::string> texts = Split(words_and_results);
  for (size_t i = 0; i + 1 < texts.size(); i += 2) {
    EXPECT_EQ(LookUp(lexicon, texts[i]).at(0), texts[i + 1]) << texts[i];
  }
}

// Small ASCII letters below, ASCII above, and the results that all of them share.
inline void ExpectCommonPromises(const FstPtr& lexicon) {
  ASSERT_NE(lexicon, nullptr);
  EXPECT_EQ(lexicon->flags, LK_FST_SORTED_LOWER);
  for (uint32_t i = 0; i < lexicon->edge_count; ++i) {
    const Edge& arc = lexicon->data[i];
    ASSERT_TRUE(arc.lower == 0 || arc.lower == '-' || (arc.lower >= 'a' && arc.lower <= 'z')) << i;
    ASSERT_LT(arc.upper, 128) << i;
  }
  ExpectAnalyses(
      lexicon,
      {{{"ADT/izan", "ADL/izan"}, "da"},
       {{"ADL/edun", "ADL/edun+", "IOR/zuek+", "IOR/zuek++", "ADT/ukan", "ADT/ukan+"}, "zuen"},
       {{"+ADL/edun", "+ADT/ukan"}, "badu"},
       {{}, "Etxe etxE"}});
  EXPECT_EQ(LookUp(lexicon, "bada").at(0)[0], '+');
}

}  // namespace fenra_test

#endif  // FENRA_TESTS_TOOLS_BUILT_LEXICON_H
