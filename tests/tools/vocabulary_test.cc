// From a small dictionary to what the engine answers.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/lexicon.h"
#include "tools/lexicon_compiler/source_lexicon.h"
#include "tools/lexicon_compiler/vocabulary.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using fenra_test::FstPtr;
using fenra_test::Load;
using fenra_test::LookUp;

using Results = std::vector<std::string>;

// A printed dictionary of single words. The symbols of an entry are pairs
// "input:output", separated by blanks; "0" is epsilon.
class Dictionary {
 public:
  void Add(const std::string& entry) {
    std::istringstream symbols(entry);
    int state = 0;
    for (std::string symbol; symbols >> symbol;) {
      const size_t colon = symbol.find(':');
      const auto name = [](const std::string& text) { return text == "0" ? "@0@" : text; };
      lines_ += std::to_string(state) + '\t' + std::to_string(next_) + '\t' +
                name(symbol.substr(0, colon)) + '\t' + name(symbol.substr(colon + 1)) + "\t0\t\n";
      state = next_++;
    }
    lines_ += std::to_string(state) + "\t0\n";
  }

  Vocabulary Extract(const std::string& more_sections = "") const {
    std::istringstream printed(lines_ + more_sections);
    return ExtractVocabulary(ReadSections(printed));
  }

 private:
  std::string lines_;
  int next_ = 1;
};

class VocabularyTest : public ::testing::Test {
 protected:
  Results LookUpIn(const Dictionary& dictionary, const std::string& word) const {
    return LookUp(Load(BuildLexicon(dictionary.Extract())), word);
  }
};

TEST_F(VocabularyTest, EveryPartOfSpeechHasItsCategory) {
  const std::pair<const char*, const char*> cases[] = {
      {"<n>", "IZE"},      {"<np>", "IZE"},     {"<adj>", "ADJ"},    {"<ADI>", "ADI"},
      {"<prn>", "IOR"},    {"<det>", "DET"},    {"<num>", "DET"},    {"<adv>", "ADB"},
      {"<preadv>", "ADB"}, {"<spost>", "ADB"},  {"<cnjcoo>", "LOT"}, {"<cnjadv>", "LOT"},
      {"<cnjloc>", "LOT"}, {"<part>", "PRT"},   {"<PRT>", "PRT"},    {"<BST>", "PRT"},
      {"<ij>", "ITJ"},     {"<vbsint>", "ADT"}, {"<ADL>", "ADL"},    {"<LOT>", "LOT"},
  };
  for (const auto& [tag, category] : cases) {
    Dictionary dictionary;
    dictionary.Add("a:a z:z k:0 0:" + std::string(tag));
    EXPECT_EQ(LookUpIn(dictionary, "azk"), Results{std::string(category) + "/az+"}) << tag;
  }
}

TEST_F(VocabularyTest, LemmasAreCopiedAndInflectionWritesNothing) {
  Dictionary dictionary;
  dictionary.Add("e:e t:t x:x e:e a:<n> 0:+ 0:a 0:<det> k:<pl>");    // tag on a letter
  dictionary.Add("l:l u:u r:r 0:<n> r:+ a:a 0:<det>");               // tag in front of one
  dictionary.Add("e:e l:l i:i z:z 0:a 0:<n> e:0 n:0 0:0 0:<post>");  // shorter than the lemma
  dictionary.Add("b:i a:b t:i 0:l 0:i 0:<vbsint> z:<x> u:0");        // lemma unlike the form
  EXPECT_EQ(LookUpIn(dictionary, "etxeak"), Results{"IZE/etxe+"});
  EXPECT_EQ(LookUpIn(dictionary, "lurra"), Results{"IZE/lur+"});
  EXPECT_EQ(LookUpIn(dictionary, "elizen"), Results{"IZE/eliza+"});
  EXPECT_EQ(LookUpIn(dictionary, "batzu"), Results{"ADT/ibili+"});
  EXPECT_EQ(LookUpIn(dictionary, "etxe"), Results{});
}

TEST_F(VocabularyTest, LikelierAnalysesComeFirst) {
  Dictionary dictionary;  // one form, all readings in reverse
  dictionary.Add("a:a z:r 0:t 0:u 0:<vblex> 0:<inf>");
  dictionary.Add("a:e z:z 0:a 0:n 0:<vbsint>");
  dictionary.Add("a:a 0:<adj> z:+");
  dictionary.Add("a:a 0:<n> z:+");
  dictionary.Add("a:a z:t 0:<vblex> 0:<pp>");
  dictionary.Add("a:a 0:<prn> z:+");
  dictionary.Add("a:a 0:<det> z:+");
  dictionary.Add("a:i z:z 0:a 0:n 0:<vbsint>");
  dictionary.Add("a:u z:k 0:a 0:n 0:<vbsint>");
  dictionary.Add("a:e z:g 0:o 0:n 0:<vbsint>");
  dictionary.Add("a:a z:z 0:<adj>");
  dictionary.Add("a:a z:z 0:<cnjcoo>");
  EXPECT_EQ(LookUpIn(dictionary, "az"),
            (Results{"LOT/az+", "ADJ/az+", "ADL/edun+", "ADL/izan+", "ADT/egon+", "ADT/izan+",
                     "ADT/ukan+", "DET/a+", "IOR/a+", "ADI/at+", "IZE/a+", "ADJ/a+", "ADL/ezan+",
                     "ADI/artu+"}));
}

TEST_F(VocabularyTest, NounsPreferTheLongestLemma) {
  Dictionary dictionary;
  dictionary.Add("a:a k:k a:<n> z:+");
  dictionary.Add("a:a k:k 0:a 0:<n> a:+ z:0");
  dictionary.Add("a:a k:k a:a z:<n>");
  dictionary.Add("a:a 0:<n> k:+ a:0 z:0");
  EXPECT_EQ(LookUpIn(dictionary, "akaz"), (Results{"IZE/aka+", "IZE/ak+", "IZE/a+"}));
}

TEST_F(VocabularyTest, APrefixLeavesTheAnalysesOfItsWord) {
  Dictionary dictionary;
  dictionary.Add("b:b a:a 0:<cnjsub> 0:+ d:e 0:g 0:o 0:n 0:<vbsint> a:<pri> g:0 o:0");
  EXPECT_EQ(LookUpIn(dictionary, "badago"), Results{"ADT/egon+"});
  EXPECT_EQ(LookUpIn(dictionary, "ba"), Results{});
  dictionary.Add("b:b a:a 0:<cnjsub> 0:z e:e 0:<vbsint>");  // no word behind it
  EXPECT_EQ(LookUpIn(dictionary, "bae"), Results{});
}

TEST_F(VocabularyTest, FixedWordsHaveNothingElse) {
  Dictionary dictionary;
  dictionary.Add("d:d a:a 0:<n>");
  dictionary.Add("d:d 0:<n> a:+ k:0");
  dictionary.Add("b:b a:a d:d u:u 0:<ij>");
  EXPECT_EQ(LookUpIn(dictionary, "da"), (Results{"ADT/izan", "ADL/izan"}));
  EXPECT_EQ(LookUpIn(dictionary, "badu"), (Results{"+ADL/edun", "+ADT/ukan"}));
  EXPECT_EQ(LookUpIn(dictionary, "dak"), Results{"IZE/d+"});
}

TEST_F(VocabularyTest, LeavesOutWhatTheLexiconCannotHold) {
  Dictionary dictionary;
  dictionary.Add("o:o n:n 0:<n>");
  dictionary.Add("A:A n:n 0:<np>");
  dictionary.Add("a:A n:n 0:<np>");
  dictionary.Add("e:e 0:@_SPACE_@ r:r e:e 0:<adv>");
  dictionary.Add("a:\xc3\xb1 0:<n>");
  dictionary.Add("u:0 0:<n>");
  dictionary.Add("a:a 0:<new>");
  dictionary.Add("a:a 0:<vblex> 0:<new>");
  // A section with a cycle, which has words of its own.
  const Vocabulary vocabulary =
      dictionary.Extract("--\n0\t1\tx\tx\t0\n1\t1\tx\tx\t0\n1\t2\t@0@\t<n>\t0\n2\t0\n");
  EXPECT_EQ(vocabulary.lemmas, std::set<std::string>{"on"});
  EXPECT_EQ(vocabulary.unknown_tags, (std::set<std::string>{"<new>", "<vblex><new>"}));
  const FstPtr fst = Load(BuildLexicon(vocabulary));
  EXPECT_EQ(LookUp(fst, "on"), Results{"IZE/on+"});
  for (const char* word : {"", "An", "an", "ere", "a", "u", "x", "xx"}) {
    EXPECT_EQ(LookUp(fst, word), Results{}) << word;
  }
}

}  // namespace
