// The lexicon built from another project's dictionary.
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <set>

#include "tests/tools/engine.h"
#include "tests/tools/reference.h"
#include "tools/lexicon_compiler/lexicon.h"
#include "tools/lexicon_compiler/search_bound.h"
#include "tools/lexicon_compiler/source_lexicon.h"
#include "tools/lexicon_compiler/vocabulary.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using fenra_test::FstPtr;
using fenra_test::Load;
using fenra_test::LookUp;
using fenra_test::PeakEntries;

using Analyses = std::vector<std::string>;

const FstPtr& BuiltLexicon() {
  static const FstPtr& fst =
      *new FstPtr(lk_fst_new_from_binary_file(FENRA_APERTIUM_DIRECTORY "/lexicon.fst"));
  return fst;
}

const Vocabulary& SourceVocabulary() {
  static const Vocabulary& vocabulary = *new Vocabulary([] {
    std::ifstream printed(FENRA_APERTIUM_DIRECTORY "/dictionary.txt");
    return ExtractVocabulary(ReadSections(printed));
  }());
  return vocabulary;
}

TEST(BuiltLexicon, FixedAnalyses) {
  const std::pair<const char*, Analyses> cases[] = {
      {"da", {"ADT/izan", "ADL/izan"}},
      {"zuen", {"ADL/edun", "ADL/edun+", "IOR/zuek+", "IOR/zuek++", "ADT/ukan", "ADT/ukan+"}},
      {"badu", {"+ADL/edun", "+ADT/ukan"}},
  };
  for (const auto& [word, results] : cases) {
    EXPECT_EQ(LookUp(BuiltLexicon(), word), results);
  }
  EXPECT_EQ(LookUp(BuiltLexicon(), "etxea").at(0), "IZE/etxe+");
  EXPECT_EQ(LookUp(BuiltLexicon(), "bada").at(0).substr(0, 1), "+");
}

TEST(BuiltLexicon, FirstAnalysesOfCommonWords) {
  const std::pair<const char*, const char*> cases[] = {
      {"etxe", "IZE/etxe+"},       {"etxeetan", "IZE/etxe+"}, {"gizonarekin", "IZE/gizon+"},
      {"lurra", "IZE/lur+"},       {"lan", "IZE/lan+"},       {"handiago", "ADJ/handi+"},
      {"etortzen", "ADI/etorri+"}, {"egindako", "ADI/egin+"}, {"dator", "ADT/etorri+"},
      {"naiz", "ADL/izan+"},       {"zituzten", "ADL/edun+"}, {"badute", "ADL/edun+"},
      {"dezake", "ADL/ezan+"},     {"daiteke", "ADL/edin+"},  {"bere", "IOR/bera+"},
      {"horretan", "DET/hori+"},   {"baina", "LOT/baina+"},   {"aldaketaz", "IZE/aldaketa+"},
      {"botatzea", "ADI/bota+"},
  };
  for (const auto& [word, first] : cases) {
    const Analyses results = LookUp(BuiltLexicon(), word);
    ASSERT_FALSE(results.empty()) << word;
    EXPECT_EQ(results[0], first) << word;
  }
}

TEST(BuiltLexicon, LabelsAreSmallAsciiBelowAndAnalysesAbove) {
  ASSERT_NE(BuiltLexicon(), nullptr);
  EXPECT_EQ(BuiltLexicon()->flags, LK_FST_SORTED_LOWER);
  for (uint32_t i = 0; i < BuiltLexicon()->edge_count; ++i) {
    const Edge& arc = BuiltLexicon()->data[i];
    ASSERT_TRUE(arc.lower == 0 || arc.lower == '-' || (arc.lower >= 'a' && arc.lower <= 'z')) << i;
    ASSERT_TRUE(arc.upper < 128) << i;
  }
}

TEST(BuiltLexicon, IsWhatTheCompilerMakes) {
  const Transducer lexicon = BuildLexicon(SourceVocabulary());
  const FstPtr fst = Load(lexicon);
  ASSERT_EQ(fst->data_size, BuiltLexicon()->data_size);
  EXPECT_TRUE(std::equal(fst->data, fst->data + fst->data_size / sizeof(Edge), BuiltLexicon()->data,
                         [](const Edge& a, const Edge& b) {
                           return a.bits == b.bits && a.edge_count == b.edge_count &&
                                  a.lower == b.lower && a.upper == b.upper;
                         }));
  EXPECT_GT(SourceVocabulary().lemmas.size(), 5000U);
  EXPECT_EQ(SourceVocabulary().unknown_tags, std::set<std::string>{});
  EXPECT_LE(SearchBound(lexicon), 400);  // cycles throw
}

// The analyses by kind, likeliest kind first, from the vocabulary alone. Within a
// kind any order goes.
std::vector<std::set<std::string>> ExpectedGroups(const std::string& word) {
  std::map<std::pair<Rank, Category>, std::set<std::string>> groups;
  for (const auto& [kind, branch] : SourceVocabulary().branches) {
    for (const std::string& output : fenra_test::Results(branch, word)) {
      const Rank rank = output == word + '+' ? Rank::kDictionaryForm : kind.first;
      groups[{rank, kind.second}].insert(std::string(NameOf(kind.second)) + '/' + output);
    }
  }
  std::vector<std::set<std::string>> in_order;
  for (const auto& [kind, analyses] : groups) {
    in_order.push_back(analyses);
  }
  return in_order;
}

void ExpectGroups(const std::string& word) {
  static const auto& fixed = *new std::set<std::string>{"da", "zuen", "badu", "bada"};
  if (fixed.count(word) != 0) {
    return;
  }
  const Analyses results = LookUp(BuiltLexicon(), word);
  EXPECT_LE(PeakEntries(), 400) << word;
  size_t taken = 0;
  for (const std::set<std::string>& group : ExpectedGroups(word)) {
    ASSERT_LE(taken + group.size(), results.size()) << word;
    const auto begin = results.begin() + static_cast<std::ptrdiff_t>(taken);
    const auto end = begin + static_cast<std::ptrdiff_t>(group.size());
    EXPECT_EQ(std::set<std::string>(begin, end), group) << word;
    taken += group.size();
  }
  EXPECT_EQ(taken, results.size()) << word;
}

// A word of the branch, by taking arcs by chance; empty when they lead nowhere.
std::string RandomWord(const Transducer& branch, std::mt19937* random) {
  std::string word;
  for (uint32_t state = 0;;) {
    const State& at = branch.states[state];
    if (at.arcs.empty() || (at.is_final && (*random)() % 4 == 0)) {
      return at.is_final ? word : "";
    }
    const Arc& arc = at.arcs[(*random)() % at.arcs.size()];
    word += arc.lower == 0 ? std::string() : std::string(1, arc.lower);
    state = arc.target;
  }
}

TEST(BuiltLexicon, HasTheWordsOfTheVocabularyInOrder) {
  std::mt19937 random(8);
  for (const auto& [kind, branch] : SourceVocabulary().branches) {
    for (int i = 0; i < 200; ++i) {
      const std::string word = RandomWord(branch, &random);
      ASSERT_FALSE(word.empty());
      ExpectGroups(word);
      std::string capitalised = word;
      capitalised[0] = static_cast<char>(capitalised[0] - 'a' + 'A');
      EXPECT_EQ(LookUp(BuiltLexicon(), capitalised), Analyses{});
      ExpectGroups(word.substr(0, 1 + random() % word.size()));  // often no word
      ExpectGroups(word + static_cast<char>('a' + random() % 26));
    }
  }
}

}  // namespace
