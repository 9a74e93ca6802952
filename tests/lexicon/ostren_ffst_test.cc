#include "lexicon/ostren_ffst.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/lexicon/lexicon_file.h"

namespace {

using fenra_test::AttText;
using fenra_test::TemporaryDirectory;

struct LexiconCloser {
  void operator()(QorLexicon* lexicon) const { Pelko::close_lexicon(lexicon); }
};
using Lexicon = std::unique_ptr<QorLexicon, LexiconCloser>;

Lexicon Open(const std::string& path) {
  QorLexicon* lexicon = nullptr;
  EXPECT_EQ(Pelko::open_lexicon(&lexicon, path.c_str()), Pelko::VERIFIER_NO_ERROR);
  return Lexicon(lexicon);
}

class LexiconFacade : public ::testing::Test {
 protected:
  TemporaryDirectory directory_;
};

TEST_F(LexiconFacade, TheNameAloneChoosesTheFormat) {
  const std::string text = AttText({{"da", "ADT/izan"}});
  for (const char* name : {"a.att", "a.att.gz", "x.attic/a.fst", ".att"}) {
    EXPECT_EQ(Pelko::is_att_file(name), 1) << name;
    EXPECT_NE(Open(directory_.Write(name, text)), nullptr) << name;
  }
  const Lexicon from_text = Open(directory_.Path("a.att"));
  const std::string binary = directory_.Path("a.fst");
  ASSERT_EQ(lk_fst_save_to_binary_file(from_text->fst, binary.c_str()), 0);
  EXPECT_EQ(Pelko::is_att_file(binary.c_str()), 0);
  TransducerOutput output;
  EXPECT_EQ(Pelko::lookup(Open(binary).get(), output, "da"), 1);
  EXPECT_EQ(output, TransducerOutput{"ADT/izan"});
}

TEST_F(LexiconFacade, AFailedOpenLeavesTheHandle) {
  QorLexicon untouched;
  QorLexicon* lexicon = &untouched;
  const std::string not_binary = directory_.Write("text.fst", AttText({{"da", "ADT/izan"}}));
  for (const std::string& path :
       {directory_.Path("none.fst"), directory_.Path("none.att"), not_binary}) {
    EXPECT_EQ(Pelko::open_lexicon(&lexicon, path.c_str()), Pelko::VERIFIER_CANNOT_OPEN_FILE);
    EXPECT_EQ(lexicon, &untouched) << path;
  }
}

TEST_F(LexiconFacade, ResultsAccumulateInOrder) {
  const Lexicon lexicon = Open(directory_.Write(
      "l.att", AttText({{"da", "ADT/izan"}, {"da", "ADL/izan"}, {"etxea", "IZE/etxe+"}})));
  TransducerOutput output;
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "da"), 2);
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "etxe"), 2);
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "etxea"), 3);
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, "da"), 5);
  EXPECT_EQ(output,
            (TransducerOutput{"ADT/izan", "ADL/izan", "IZE/etxe+", "ADT/izan", "ADL/izan"}));
}

TEST_F(LexiconFacade, DownReadsResultsAndSpellsWords) {
  const Lexicon lexicon =
      Open(directory_.Write("l.att", AttText({{"etxea", "IZE/etxe+"}, {"etxeak", "IZE/etxe+"}})));
  TransducerOutput output;
  EXPECT_EQ(Pelko::lookdown(lexicon.get(), output, "IZE/etxe+"), 2);
  std::sort(output.begin(), output.end());
  EXPECT_EQ(output, (TransducerOutput{"etxea", "etxeak"}));
  EXPECT_EQ(Pelko::lookdown(lexicon.get(), output, "etxea"), 2);
  EXPECT_EQ(Pelko::lookdown(lexicon.get(), output, "IZE/etxe+", 1), -1);
  EXPECT_EQ(output.size(), 2U);
}

TEST_F(LexiconFacade, LongResultsArriveWhole) {
  // The longest path that the search stack has room for.
  const std::string word(511, 'a');
  const std::string result(511, 'b');
  const Lexicon lexicon = Open(directory_.Write("l.att", AttText({{word, result}})));
  TransducerOutput output;
  EXPECT_EQ(Pelko::lookup(lexicon.get(), output, word.c_str()), 1);
  EXPECT_EQ(output, TransducerOutput{result});
}

TEST_F(LexiconFacade, OnlyTheFirstSaysWhetherThereIsAResult) {
  const Lexicon lexicon =
      Open(directory_.Write("l.att", AttText({{"da", "ADT/izan"}, {"da", "ADL/izan"}})));
  EXPECT_EQ(Pelko::lookup_only_the_first(lexicon.get(), "da"), 1);
  for (const char* word : {"", "d", "daa", "Da"}) {
    EXPECT_EQ(Pelko::lookup_only_the_first(lexicon.get(), word), 0) << word;
  }
}

TEST_F(LexiconFacade, NullHandlesAndWordsHaveNoResults) {
  const Lexicon lexicon = Open(directory_.Write("l.att", AttText({{"da", "ADT/izan"}})));
  TransducerOutput output{"kept"};
  for (const auto& [handle, word] :
       {std::pair<QorLexicon*, const char*>{nullptr, "da"}, {lexicon.get(), nullptr}}) {
    EXPECT_EQ(Pelko::lookup(handle, output, word), 1);
    EXPECT_EQ(Pelko::lookdown(handle, output, word), 1);
    EXPECT_EQ(Pelko::lookup_only_the_first(handle, word), 0);
  }
  EXPECT_EQ(output, TransducerOutput{"kept"});
  EXPECT_EQ(Pelko::close_lexicon(nullptr), Pelko::VERIFIER_NO_ERROR);
  EXPECT_EQ(Pelko::is_att_file(nullptr), 0);
}

}  // namespace
