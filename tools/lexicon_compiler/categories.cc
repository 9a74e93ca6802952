#include "tools/lexicon_compiler/categories.h"

#include <array>
#include <map>

namespace lexicon_compiler {

namespace {

constexpr std::string_view kFiniteVerbTag = "<vbsint>";

struct PartOfSpeech {
  Category category;
  Rank rank;
};

const std::map<std::string, PartOfSpeech, std::less<>>& PartsOfSpeech() {
  static const auto& table = *new std::map<std::string, PartOfSpeech, std::less<>>{
      {"<n>", {Category::IZE, Rank::kNoun}},
      {"<np>", {Category::IZE, Rank::kNoun}},
      {"<adj>", {Category::ADJ, Rank::kAdjective}},
      {"<vblex><pp>", {Category::ADI, Rank::kVerb}},
      {"<vblex><pfut>", {Category::ADI, Rank::kVerb}},
      {"<vblex><ger>", {Category::ADI, Rank::kVerb}},
      {"<vblex><izen>", {Category::ADI, Rank::kVerb}},
      {"<vblex><padv>", {Category::ADI, Rank::kVerb}},
      {"<vblex><inf>", {Category::ADI, Rank::kVerbRadical}},
      {"<ADI>", {Category::ADI, Rank::kVerb}},
      {"<vbsint>", {Category::ADT, Rank::kFiniteVerb}},
      {"<ADL>", {Category::ADL, Rank::kRareAuxiliary}},
      {"<prn>", {Category::IOR, Rank::kClosedClass}},
      {"<det>", {Category::DET, Rank::kClosedClass}},
      {"<num>", {Category::DET, Rank::kClosedClass}},
      {"<adv>", {Category::ADB, Rank::kClosedClass}},
      {"<preadv>", {Category::ADB, Rank::kClosedClass}},
      {"<spost>", {Category::ADB, Rank::kClosedClass}},
      {"<rel>", {Category::ADB, Rank::kClosedClass}},
      {"<gra>", {Category::ADB, Rank::kClosedClass}},
      {"<cnjcoo>", {Category::LOT, Rank::kClosedClass}},
      {"<cnjadv>", {Category::LOT, Rank::kClosedClass}},
      {"<cnjloc>", {Category::LOT, Rank::kClosedClass}},
      {"<LOT>", {Category::LOT, Rank::kClosedClass}},
      {"<part>", {Category::PRT, Rank::kClosedClass}},
      {"<PRT>", {Category::PRT, Rank::kClosedClass}},
      {"<BST>", {Category::PRT, Rank::kClosedClass}},
      {"<ij>", {Category::ITJ, Rank::kClosedClass}},
  };
  return table;
}

// Finite forms. The forms of ukan are those of the auxiliary edun, which is by far
// the more frequent of the two; those of izan are both as well.
std::vector<Analysis> FiniteAnalyses(const std::string& lemma) {
  if (lemma == "ukan") {
    return {{Rank::kFiniteVerb, Category::ADL, "edun"}, {Rank::kFiniteVerb, Category::ADT, lemma}};
  }
  if (lemma == "izan") {
    return {{Rank::kFiniteVerb, Category::ADL, lemma}, {Rank::kFiniteVerb, Category::ADT, lemma}};
  }
  if (lemma == "edin" || lemma == "ezan") {
    return {{Rank::kRareAuxiliary, Category::ADL, lemma}};
  }
  return {{Rank::kFiniteVerb, Category::ADT, lemma}};
}

}  // namespace

std::string_view NameOf(Category category) {
  constexpr std::array<std::string_view, 11> kNames = {"LOT", "PRT", "DET", "IOR", "ADB", "ITJ",
                                                       "ADL", "ADT", "ADI", "IZE", "ADJ"};
  return kNames.at(static_cast<size_t>(category));
}

std::vector<Analysis> AnalysesOf(const std::string& tag, const std::string& lemma) {
  if (tag == kFiniteVerbTag) {
    return FiniteAnalyses(lemma);
  }
  const auto entry = PartsOfSpeech().find(tag);
  if (entry == PartsOfSpeech().end()) {
    return {};
  }
  // The source takes the genitive bere apart as a word of its own.
  const std::string& dictionary_lemma = tag == "<prn>" && lemma == "ber" ? "bera" : lemma;
  return {{entry->second.rank, entry->second.category, dictionary_lemma}};
}

}  // namespace lexicon_compiler
