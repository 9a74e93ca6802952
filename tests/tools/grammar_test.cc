// The grammar's source format, from text to analyses.
#include "tools/lexicon_compiler/grammar.h"

#include <fstream>
#include <sstream>

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/basque_lexicon.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT
using testing::HasSubstr;

Grammar ReadFrom(std::istream& source) {
  Grammar grammar;
  GrammarReader reader(&grammar);
  reader.Read(source, "test");
  reader.Finish();
  return grammar;
}

Grammar Read(const std::string& text) {
  std::istringstream source(text);
  return ReadFrom(source);
}

TEST(Grammar, AnalysesOfTheLanguageItDescribes) {
  std::ifstream file(FENRA_TEST_DATA "/little_grammar.txt");
  ExpectAnalyses(Load(BuildBasqueLexicon(ReadFrom(file))),
                 {{{"IZE/etxe+"}, "etxe etxea etxekoa"},
                  {{"IZE/eskola+"}, "eskolek"},
                  {{"IZE/zahartasun+"}, "zahartasuna"},
                  {{"IZE/ikerketa+"}, "ikerketek"},
                  {{"IZE/ur-etxe+"}, "ur-etxea"},
                  {{"IZE/azpietxe+"}, "azpietxea"},
                  {{"IZE/blogo+"}, "blogoren"},
                  {{"ADJ/zahar+"}, "zaharra"},
                  {{"ADB/zaharki+"}, "zaharki"},
                  {{"ADI/hartu+"}, "hartzen har"},
                  {{"ADL/edun+"}, "ditut baitut badu baikenuen baitzuten"},
                  {{"LOT/zer+"}, "zein"},
                  {{"+ADL/izan", "ADL/izan"}, "zen"},
                  {{},
                   "etxekoka eskolaek zahara ikerketak baitgenuen urtegi-etxea a-etxea "
                   "oren boren bloggoren"}});
}

TEST(Grammar, OrderOfResultsFollowsBranchesAndThenStems) {
  const std::string words = R"(
class noun
  0 k ko
words IZE noun
  leku lekuko
words ADI noun
  leku
)";
  ExpectAnalyses(Load(BuildBasqueLexicon(Read(words + "order\n IZE ADI\n"))),
                 {{{"IZE/lekuko+", "IZE/leku+", "ADI/leku+"}, "lekuko"}});
  ExpectAnalyses(Load(BuildBasqueLexicon(Read(words + "order\n ADI IZE\n"))),
                 {{{"ADI/leku+", "IZE/lekuko+", "IZE/leku+"}, "lekuko"}});
}

TEST(Grammar, MistakesAreNamed) {
  std::ifstream file(FENRA_TEST_DATA "/mistakes.txt");
  int mistakes = 0;
  for (std::string line; std::getline(file, line);) {
    const size_t bar = line.find(" | ");
    if (line[0] != '#') {
      ++mistakes;
      std::string source = line.substr(0, bar);
      for (size_t at; (at = source.find("\\n")) != std::string::npos;) {
        source.replace(at, 2, "\n");
      }
      EXPECT_THAT(ErrorOf([&] { BuildBasqueLexicon(Read(source)); }),
                  HasSubstr(line.substr(bar + 3)))
          << line;
    }
  }
  EXPECT_GT(mistakes, 20);
}

}  // namespace
