// The spelling dictionary's stems and classes as words of the lexicon.
#include "tools/lexicon_compiler/hunspell_source.h"

#include <fstream>
#include <sstream>

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/basque_lexicon.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using namespace fenra_test;        // NOLINT

constexpr const char* kOrder =
    "order\n ADI.rest IZE.rest ADJ.rest ADB.bare ADB.rest IZE.late ADJ.late ADL ADL.rest ADT.rest "
    "ADI.radical IZB\n"
    "class aux\n 0\nwords ADL aux\n izan\n"
    "roots\n ^dago=egon bil=ibili zai=izan\n";

Grammar ReadAll(const std::string& aff, const std::string& dic) {
  Grammar grammar;
  GrammarReader reader(&grammar);
  std::istringstream source(kOrder);
  reader.Read(source, "order");
  std::istringstream aff_stream(aff);
  std::istringstream dic_stream(dic);
  ReadHunspell(aff_stream, dic_stream, &grammar);
  return grammar;
}

// Suffix classes "CLASS SUFFIX[/CLASS,...]..." in the layout of the real file: a
// header line with four fields in front of each class.
std::string Classes(const std::vector<std::string>& classes) {
  std::string aff = "SET UTF-8\nPFX 1000 Y 1\nPFX 1000 0 ba .\n";
  for (const std::string& suffixes : classes) {
    const std::vector<std::string> fields = Split(suffixes);
    aff += "SFX " + fields[0] + " Y " + std::to_string(fields.size() - 1) + "\n";
    for (size_t i = 1; i < fields.size(); ++i) {
      aff += "SFX " + fields[0] + " 0 " + fields[i] + " .\n";
    }
  }
  return aff;
}

const std::string kClasses =
    Classes({"10 0 a ak ko aren/1,20 o/20 tsu/20", "20 ak a/21", "21 z", "11 0 k ko", "12 a ak ek",
             "13 ak ean eko", "30 0 tu tzen tzaile/20", "31 ten", "32 0 i araz", "40 0 en"});

TEST(HunspellSource, LemmasOfItsClasses) {
  std::stringstream words;
  words << std::ifstream(FENRA_TEST_DATA "/little_dictionary.dic").rdbuf();
  const FstPtr fst = Load(BuildBasqueLexicon(ReadAll(kClasses, words.str())));
  const Analyses cases = {
      // A form in two levels below its class; one in front of other suffixes only.
      {{"IZE/etxe+"}, "etxe etxeak etxearenak etxeo etxeoa etxeoaz"},
      {{}, "etxearen eskol berrartzen birikusten"},
      {{"IZE/etxetsu+"}, "etxetsuak"},
      {{"IZE/etxe+", "IZE/etxeko+"}, "etxeko"},
      {{"IZE/eskola+"}, "eskolak eskolek"},
      {{"IZE/zahar+"}, "zaharrean"},
      {{"ADI/aldatu+"}, "alda aldatzen"},
      {{"IZE/aldatzaile+"}, "aldatzaileak"},
      {{"ADI/berraldatu+"}, "berraldatu"},
      {{"ADI/berrarrtu+"}, "berrarrtzen"},  // h is lost behind the prefix
      {{"ADI/egin+"}, "egiten egina"},
      {{"ADI/ikusi+"}, "ikusten"},
      {{"ADI/berrikusi+"}, "berrikusten"},
      {{"ADT/egon+"}, "dagoen badago baitago"},
      {{"ADT/ibili+"}, "bainabil"},
      {{"ADL/izan+"}, "bazaioken"},
      {{"ADB/lasterka+"}, "lasterka"},
      {{"IZB/bilbo+"}, "bilbo bilboak"},
      {{"IZE/manana+"}, "manana mananako"},
  };
  ExpectAnalyses(fst, cases);
}

TEST(HunspellSource, RefusesWhatItCannotRead) {
  EXPECT_THROW(ReadAll("", "1\netxe/10\n"), BuildError);
  EXPECT_THROW(ReadAll(kClasses, ""), BuildError);
  EXPECT_THROW(ReadAll("SFX 10 e a .\n", "1\netxe/10\n"), BuildError);
  EXPECT_THROW(ReadAll("SFX 10 0 a [^r]\n", "1\netxe/10\n"), BuildError);
  // A class that follows itself has endless words.
  EXPECT_THROW(BuildBasqueLexicon(ReadAll(Classes({"10 ak/10 k"}), "1\netxe/10,1\n")), BuildError);
}

}  // namespace
