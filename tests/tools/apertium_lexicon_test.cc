// The lexicon built from another project's dictionary.
#include <fstream>
#include <random>
#include <set>

#include "tests/tools/built_lexicon.h"
#include "tests/tools/reference.h"
#include "tools/lexicon_compiler/source_lexicon.h"
#include "tools/lexicon_compiler/vocabulary.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT

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

TEST(ApertiumLexicon, KeepsTheCommonPromises) {
  ExpectCommonPromises(BuiltLexicon());
  EXPECT_GT(SourceVocabulary().lemmas.size(), 5000U);
  EXPECT_EQ(SourceVocabulary().unknown_tags, std::set<std::string>{});
}

TEST(ApertiumLexicon, FirstResults) {
  ExpectFirstResults(BuiltLexicon(),
                     "etxe IZE/etxe+  etxea IZE/etxe+  etxeetan IZE/etxe+  gizonarekin IZE/gizon+  "
                     "lurra IZE/lur+  lan IZE/lan+  aldaketaz IZE/aldaketa+  handiago ADJ/handi+  "
                     "etortzen ADI/etorri+  egindako ADI/egin+  botatzea ADI/bota+  "
                     "dator ADT/etorri+  naiz ADL/izan+  zituzten ADL/edun+  badute ADL/edun+  "
                     "dezake ADL/ezan+  daiteke ADL/edin+  bere IOR/bera+  horretan DET/hori+  "
                     "baina LOT/baina+");
}

// The analyses by kind, likeliest kind first, from the vocabulary alone. Within a
// kind any order goes.
std::vector<std::set<std::string>> ExpectedGroups(const std::string& word) {
  std::map<std::pair<Rank, Category>, std::set<std::string>> groups;
  for (const auto& [kind, branch] : SourceVocabulary().branches) {
    for (const std::string& output : PathResults(branch, word)) {
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
  const auto results = LookUp(BuiltLexicon(), word);
  EXPECT_LE(LastCost().entries, 400) << word;
  auto next = results.begin();
  for (const std::set<std::string>& group : ExpectedGroups(word)) {
    const auto size = static_cast<std::ptrdiff_t>(group.size());
    ASSERT_LE(size, results.end() - next) << word;
    EXPECT_EQ(std::set<std::string>(next, next + size), group) << word;
    next += size;
  }
  EXPECT_EQ(next, results.end()) << word;
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

TEST(ApertiumLexicon, HasTheWordsOfTheVocabularyInOrder) {
  std::mt19937 random(8);
  for (const auto& [kind, branch] : SourceVocabulary().branches) {
    for (int i = 0; i < 200; ++i) {
      const std::string word = RandomWord(branch, &random);
      ASSERT_FALSE(word.empty());
      ExpectGroups(word);
      ExpectGroups(word.substr(0, 1 + random() % word.size()));  // often no word
      ExpectGroups(word + static_cast<char>('a' + random() % 26));
    }
  }
}

}  // namespace
