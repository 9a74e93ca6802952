// The spelling dictionary's stems and classes as words of the lexicon.
#include "tools/lexicon_compiler/hunspell_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/engine.h"
#include "tools/lexicon_compiler/basque_lexicon.h"
#include "tools/lexicon_compiler/build_error.h"

namespace {

using namespace lexicon_compiler;  // NOLINT
using fenra_test::FstPtr;
using fenra_test::Load;
using fenra_test::LookUp;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kOrder =
    "order\n ADI.rest IZE.rest ADJ.rest ADB.bare ADB.rest IZE.late ADJ.late ADL ADL.rest ADT.rest "
    "ADI.radical\n"
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

// Classes in the layout of the real file: header lines, flags behind suffixes.
constexpr const char* kClasses = R"(SET UTF-8
PFX 1000 Y 1
PFX 1000 0 ba .
SFX 10 Y 5
SFX 10 0 0 .
SFX 10 0 a .
SFX 10 0 ak .
SFX 10 0 ko .
SFX 10 0 aren/1,20 .
SFX 10 0 o/20 .
SFX 10 0 tsu/20 .
SFX 20 Y 2
SFX 20 0 ak .
SFX 20 0 a/21 .
SFX 21 Y 1
SFX 21 0 z .
SFX 11 Y 2
SFX 11 0 0 .
SFX 11 0 k .
SFX 11 0 ko .
SFX 12 Y 3
SFX 12 0 a .
SFX 12 0 ak .
SFX 12 0 ek .
SFX 13 Y 2
SFX 13 0 ak .
SFX 13 0 ean .
SFX 13 0 eko .
SFX 30 Y 3
SFX 30 0 0 .
SFX 30 0 tu .
SFX 30 0 tzen .
SFX 30 0 tzaile/20 .
SFX 31 Y 2
SFX 31 0 ten .
SFX 32 Y 2
SFX 32 0 0 .
SFX 32 0 i .
SFX 32 0 araz .
SFX 40 Y 1
SFX 40 0 0 .
SFX 40 0 en .
)";

TEST(HunspellSource, LemmasOfItsClasses) {
  const FstPtr fst = Load(BuildBasqueLexicon(ReadAll(kClasses, R"(18
etxe/10,1
eskola/11,1
eskol/12,1
zaharr/13,1
zahar/11,1
alda/1002,30,1
egi/31,1
egin/10,1
harr/1002,30,1
ikus/32,1
ikusi/10,1
ikus/1002,31,1
dago/1001,1000,40,1
nabil/1001,1000,40,1
zaiok/1001,1000,40,1
lasterka
Bilbo/10,1
mañana/10,1
etxeko/10,1
)")));
  ASSERT_NE(fst, nullptr);
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {"etxe", {"IZE/etxe+"}},
      {"etxeak", {"IZE/etxe+"}},
      {"etxearen", {}},  // stands in front of other suffixes only
      {"etxearenak", {"IZE/etxe+"}},
      {"etxeo", {"IZE/etxe+"}},
      {"etxeoaz", {"IZE/etxe+"}},  // two levels below the class
      {"etxeoa", {"IZE/etxe+"}},
      {"etxetsuak", {"IZE/etxetsu+"}},
      {"etxeko", {"IZE/etxe+", "IZE/etxeko+"}},
      {"eskolak", {"IZE/eskola+"}},
      {"eskolek", {"IZE/eskola+"}},
      {"eskol", {}},
      {"zaharrean", {"IZE/zahar+"}},
      {"alda", {"ADI/aldatu+"}},
      {"aldatzen", {"ADI/aldatu+"}},
      {"aldatzaileak", {"IZE/aldatzaile+"}},
      {"berraldatu", {"ADI/berraldatu+"}},
      {"berrartzen", {}},
      {"berrarrtzen", {"ADI/berrarrtu+"}},  // h is lost behind the prefix
      {"egiten", {"ADI/egin+"}},
      {"egina", {"ADI/egin+"}},
      {"ikusten", {"ADI/ikusi+"}},
      {"birikusten", {}},
      {"berrikusten", {"ADI/berrikusi+"}},
      {"dagoen", {"ADT/egon+"}},
      {"badago", {"ADT/egon+"}},
      {"baitago", {"ADT/egon+"}},
      {"bainabil", {"ADT/ibili+"}},
      {"bazaioken", {"ADL/izan+"}},
      {"lasterka", {"ADB/lasterka+"}},
      {"bilbo", {}},
  };
  for (const auto& [word, results] : cases) {
    std::vector<std::string> found = LookUp(fst, word);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    EXPECT_EQ(found, results) << word;
  }
}

TEST(HunspellSource, RefusesWhatItCannotRead) {
  EXPECT_THROW(ReadAll("", "1\netxe/10\n"), BuildError);
  EXPECT_THROW(ReadAll(kClasses, ""), BuildError);
  EXPECT_THROW(ReadAll("SFX 10 Y 1\nSFX 10 e a .\n", "1\netxe/10\n"), BuildError);
  EXPECT_THROW(ReadAll("SFX 10 Y 1\nSFX 10 0 a [^r]\n", "1\netxe/10\n"), BuildError);
  // A class that follows itself has endless words.
  EXPECT_THROW(
      BuildBasqueLexicon(ReadAll("SFX 10 Y 1\nSFX 10 0 ak/10 .\nSFX 10 0 k .\n", "1\netxe/10,1\n")),
      BuildError);
}

}  // namespace
