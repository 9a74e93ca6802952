// The program that decides whether a transducer file can be embedded.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fst/ostrenfst.h"
#include "tests/support/temporary_directory.h"

namespace {

using testing::HasSubstr;

class LexiconCheckTest : public testing::Test {
 protected:
  // What the program writes to standard error about the transducer of the text, or
  // about the text as it stands when that is no transducer.
  std::string Check(const std::string& text) const {
    const std::string file = directory_.write("lexicon.fst", text);
    if (LkFst* fst = lk_fst_new_from_att_string((text + "0 @0@\n3 a\n").c_str())) {
      EXPECT_EQ(lk_fst_save_to_binary_file(fst, file.c_str()), 0);
      lk_fst_free(fst);
    }
    const std::string copy = directory_ / "copy.fst";
    std::filesystem::remove(copy);
    const std::string command = "'" FENRA_LEXICON_CHECK "' " + file + ' ' + copy +
                                " >/dev/null 2>" + (directory_ / "errors");
    const bool passed = std::system(command.c_str()) == 0;
    EXPECT_EQ(directory_.read("copy.fst"), passed ? directory_.read("lexicon.fst") : "");
    return directory_.read("errors");
  }

  const TemporaryDirectory directory_;
};

// A chain of states each of which needs two more entries than the next: the last
// one needs 1.
std::string DeepChain(int states) {
  std::string text;
  for (int state = 0; state + 1 < states; ++state) {
    const std::string arc = std::to_string(state) + ' ' + std::to_string(state + 1);
    text += arc + " 0 0\n" + arc + " 3 3\n";
  }
  return text + std::to_string(states - 1) + '\n';
}

TEST_F(LexiconCheckTest, LetsThroughWhatIsSafeOnly) {
  EXPECT_EQ(Check("0 1 3 3\n1\n"), "");
  EXPECT_THAT(Check("0 0 3 3\n0\n"), HasSubstr("cannot be embedded: there is a cycle"));
  EXPECT_THAT(Check(DeepChain(202)), HasSubstr("403 open entries; at most 400 are safe"));
  EXPECT_THAT(Check(DeepChain(60)), HasSubstr("more than 1000000 steps"));
  EXPECT_THAT(Check("0 1 3 3\n"), HasSubstr("not a binary transducer file"));
}

}  // namespace
