// From a small dictionary to what the engine answers.
#include "tools/lexicon_compiler/vocabulary.h"

#include <sstream>

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/lexicon.h"
#include "tools/lexicon_compiler/source_lexicon.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT

// The vocabulary of a printed dictionary of these entries: each one's symbols are
// pairs "input:output", separated by blanks; "0" is epsilon.
Vocabulary Extract(const std::vector<std::string>& entries, const std::string& more_sections = "") {
  const auto name = [](const std::string& symbol) { return symbol == "0" ? "@0@" : symbol; };
  std::string lines;
  int next = 1;
  for (const std::string& entry : entries) {
    int state = 0;
    for (const std::string& symbol : Split(entry)) {
      const size_t colon = symbol.find(':');
      lines += std::to_string(state) + '\t' + std::to_string(next) + '\t' +
               name(symbol.substr(0, colon)) + '\t' + name(symbol.substr(colon + 1)) + "\t0\t\n";
      state = next++;
    }
    lines += std::to_string(state) + "\t0\n";
  }
  std::istringstream printed(lines + more_sections);
  return ExtractVocabulary(ReadSections(printed));
}

void ExpectAnalyses(const std::vector<std::string>& entries, const Analyses& analyses) {
  fenra_test::ExpectAnalyses(Load(BuildLexicon(Extract(entries))), analyses);
}

TEST(Vocabulary, EveryPartOfSpeechHasItsCategory) {
  const std::vector<std::string> tags_and_categories = Split(
      "<n> IZE  <np> IZE  <adj> ADJ  <ADI> ADI  <prn> IOR  <det> DET  <num> DET  <adv> ADB  "
      "<preadv> ADB  <spost> ADB  <cnjcoo> LOT  <cnjadv> LOT  <cnjloc> LOT  <LOT> LOT  "
      "<part> PRT  <PRT> PRT  <BST> PRT  <ij> ITJ  <vbsint> ADT  <ADL> ADL");
  for (size_t i = 0; i + 1 < tags_and_categories.size(); i += 2) {
    ExpectAnalyses({"a:a z:z k:0 0:" + tags_and_categories[i]},
                   {{{tags_and_categories[i + 1] + "/az+"}, "azk"}});
  }
}

TEST(Vocabulary, LemmasAreCopiedAndInflectionWritesNothing) {
  ExpectAnalyses({"e:e t:t x:x e:e a:<n> 0:+ 0:a 0:<det> k:<pl>",    // tag on a letter
                  "l:l u:u r:r 0:<n> r:+ a:a 0:<det>",               // tag in front of one
                  "e:e l:l i:i z:z 0:a 0:<n> e:0 n:0 0:0 0:<post>",  // shorter than the lemma
                  "b:i a:b t:i 0:l 0:i 0:<vbsint> z:<x> u:0"},       // lemma unlike the form
                 {{{"IZE/etxe+"}, "etxeak"},
                  {{"IZE/lur+"}, "lurra"},
                  {{"IZE/eliza+"}, "elizen"},
                  {{"ADT/ibili+"}, "batzu"},
                  {{}, "etxe"}});
}

TEST(Vocabulary, LikelierAnalysesComeFirst) {
  // One form, all readings in reverse.
  ExpectAnalyses(
      {"a:a z:r 0:t 0:u 0:<vblex> 0:<inf>", "a:e z:z 0:a 0:n 0:<vbsint>", "a:a 0:<adj> z:+",
       "a:a 0:<n> z:+", "a:a z:t 0:<vblex> 0:<pp>", "a:a 0:<prn> z:+", "a:a 0:<det> z:+",
       "a:i z:z 0:a 0:n 0:<vbsint>", "a:u z:k 0:a 0:n 0:<vbsint>", "a:e z:g 0:o 0:n 0:<vbsint>",
       "a:a z:z 0:<adj>", "a:a z:z 0:<cnjcoo>"},
      {{{"LOT/az+", "ADJ/az+", "ADL/edun+", "ADL/izan+", "ADT/egon+", "ADT/izan+", "ADT/ukan+",
         "DET/a+", "IOR/a+", "ADI/at+", "IZE/a+", "ADJ/a+", "ADL/ezan+", "ADI/artu+"},
        "az"}});
}

TEST(Vocabulary, NounsPreferTheLongestLemma) {
  ExpectAnalyses({"a:a k:k a:<n> z:+", "a:a k:k 0:a 0:<n> a:+ z:0", "a:a k:k a:a z:<n>",
                  "a:a 0:<n> k:+ a:0 z:0"},
                 {{{"IZE/aka+", "IZE/ak+", "IZE/a+"}, "akaz"}});
}

TEST(Vocabulary, APrefixLeavesTheAnalysesOfItsWord) {
  ExpectAnalyses({"b:b a:a 0:<cnjsub> 0:+ d:e 0:g 0:o 0:n 0:<vbsint> a:<pri> g:0 o:0",
                  "b:b a:a 0:<cnjsub> 0:z e:e 0:<vbsint>"},  // no word behind it
                 {{{"ADT/egon+"}, "badago"}, {{}, "ba bae"}});
}

TEST(Vocabulary, FixedWordsHaveNothingElse) {
  ExpectAnalyses({"d:d a:a 0:<n>", "d:d 0:<n> a:+ k:0", "b:b a:a d:d u:u 0:<ij>"},
                 {{{"ADT/izan", "ADL/izan"}, "da"},
                  {{"+ADL/edun", "+ADT/ukan"}, "badu"},
                  {{"IZE/d+"}, "dak"}});
}

TEST(Vocabulary, LeavesOutWhatTheLexiconCannotHold) {
  const Vocabulary vocabulary = Extract(
      {"o:o n:n 0:<n>", "A:A n:n 0:<np>", "a:A n:n 0:<np>", "e:e 0:@_SPACE_@ r:r e:e 0:<adv>",
       "a:\xc3\xb1 0:<n>", "u:0 0:<n>", "a:a 0:<new>", "a:a 0:<vblex> 0:<new>"},
      // A section with a cycle, which has words of its own.
      "--\n0\t1\tx\tx\t0\n1\t1\tx\tx\t0\n1\t2\t@0@\t<n>\t0\n2\t0\n");
  EXPECT_EQ(vocabulary.lemmas, std::set<std::string>{"on"});
  EXPECT_EQ(vocabulary.unknown_tags, (std::set<std::string>{"<new>", "<vblex><new>"}));
  const FstPtr fst = Load(BuildLexicon(vocabulary));
  fenra_test::ExpectAnalyses(fst, {{{"IZE/on+"}, "on"}, {{}, "An an ere a u x xx"}});
  EXPECT_EQ(LookUp(fst, ""), Results{});
}

}  // namespace
