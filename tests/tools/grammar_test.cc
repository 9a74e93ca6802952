// The grammar's source format, from text to analyses.
#include "tools/lexicon_compiler/grammar.h"

#include <sstream>

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/basque_lexicon.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT
using testing::HasSubstr;

Grammar Read(const std::string& text) {
  Grammar grammar;
  GrammarReader reader(&grammar);
  std::istringstream source(text);
  reader.Read(source, "test");
  reader.Finish();
  return grammar;
}

// A grammar with a little of everything.
constexpr const char* kGrammar = R"(
# comment
class end        # another
  0
class again
  0 a
class noun
  0 a ko>again ~ek
class noun.r
  0 &a tasun=tasun@IZE>again ki=ki@ADB
class verb
  0 ~~tzen ~~0@ADI.stem
class keta
  keta=keta@IZE>noun
select nominal
  r:noun.r *:noun
prefix ba
  *=ba
prefix bait
  d=bait g=baik *=bait
words IZE nominal
  etxe eskola dun
words ADJ nominal
  zahar
words ADI verb
  hartu
words ADI keta
  iker
words ADL end lemma=edun prefixes=ba,bait
  d{u,itu}{,t} genuen zuten
words LOT end
  zein=zer
words IZE.ending end
  oren=o
order
  ADL LOT ADI ADJ IZE ADB ADI.stem IZE.compound
compound IZE.compound
  letters=4 joint=- heads=IZE
compound IZE.compound
  words=azpi heads=IZE
compound IZE.compound
  letters=4 heads=IZE.ending
exact zen
  +ADL/izan ADL/izan
)";

TEST(Grammar, AnalysesOfTheLanguageItDescribes) {
  ExpectAnalyses(Load(BuildBasqueLexicon(Read(kGrammar))),
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
  const std::pair<const char*, const char*> cases[] = {
      {"class a\n  x!", "test:2: \"x!\" is no suffix"},
      {"class a\n  0\nclass a\n", "test:3: class a has been defined at test:1"},
      {"class a\n  >b\n", "test:2: class b must be defined before"},
      {"  0\n", "test:1: an indented line"},
      {"clas a\n", "test:1: \"clas\" is no kind of block"},
      {"class\n", "test:1: \"class\" needs a name"},
      {"words IZE\n", "needs a word class and a suffix class"},
      {"words IZE c x=y\n", "\"x=y\" should be"},
      {"class c\n 0\nwords IZE c\n Etxe\n", "test:4: \"Etxe\" is no word"},
      {"class c\n 0\nwords IZE c\n e{t,x\n", "braces do not match"},
      {"class c\n 0\nwords IZE c\n e}t\n", "braces do not match"},
      {"words IZE c\n etxe\n", "class c, which \"etxe\" has, is not defined"},
      {"class c\n a>d\n", "class d, which class c has, is not defined"},
      {"select s\n a:c\nwords IZE s\n etxe\n", "choice s has no class for \"etxe\""},
      {"select s\n a\n", "should have two parts"},
      {"class c\n 0\nwords IZE c prefixes=ba\n du\n", "prefix ba has not been defined"},
      {"compound X\n letters=x\n", "should be words="},
      {"prefix p\n a=b\nclass c\n 0\nwords I c prefixes=p\n du\n", "no rule for \"du\""},
      // A slip must not fill the memory.
      {"class c\n 0\nwords I c\n "
       "{a,b,c,d,e,f}{a,b,c,d,e,f}{a,b,c,d,e,f}{a,b,c,d,e,f}{a,b,c,d,e,f}\n",
       "stand for more than"},
      // What shows when all blocks are put together.
      {"class c\n a>c\nwords I c\n x\norder\n I\n", "class c follows itself"},
      {"class c\n ~~~a\nwords I c\n xy\norder\n I\n", "too short"},
      {"class c\n a\nwords I c\n xy\n", "words in I, which has no place in the order"},
  };
  for (const auto& [text, message] : cases) {
    EXPECT_THAT(ErrorOf([&, source = text] { BuildBasqueLexicon(Read(source)); }),
                HasSubstr(message))
        << text;
  }
}

}  // namespace
