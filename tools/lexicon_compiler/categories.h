// How the source's parts of speech become the lexicon's categories, and which of
// several analyses of a form comes first.
#ifndef FENRA_TOOLS_LEXICON_COMPILER_CATEGORIES_H
#define FENRA_TOOLS_LEXICON_COMPILER_CATEGORIES_H

#include <string>
#include <string_view>
#include <vector>

namespace lexicon_compiler {

// How likely an analysis is the one meant; smaller is likelier. A form that is a
// dictionary word is most often just that word, while radicals and rare
// auxiliaries mostly coincide with other words by accident.
enum class Rank {
  kDictionaryForm,  // the lemma is the form
  kFiniteVerb,
  kClosedClass,
  kVerb,
  kNoun,
  kAdjective,
  kRareAuxiliary,
  kVerbRadical,
};

// Named as in the analyses. Within a rank, earlier ones come first.
enum class Category { LOT, PRT, DET, IOR, ADB, ITJ, ADL, ADT, ADI, IZE, ADJ };

std::string_view NameOf(Category category);

struct Analysis {
  Rank rank;
  Category category;
  std::string lemma;
};

// The tag (with its angle brackets) of words that can stand in front of another
// word's form: the conditional and affirmative particle ba-.
inline constexpr std::string_view kPrefixTag = "<cnjsub>";

// The tag of verbs, whose next tag tells a radical from the other forms.
inline constexpr std::string_view kVerbTag = "<vblex>";

// The analyses of the forms of a word of the source, given by the tag of its part
// of speech (for verbs the first two tags) and its lemma. None for an unknown tag.
// Forms that are their own lemma are not told apart.
std::vector<Analysis> AnalysesOf(const std::string& tag, const std::string& lemma);

}  // namespace lexicon_compiler

#endif  // FENRA_TOOLS_LEXICON_COMPILER_CATEGORIES_H
