// Word forms with the lemma and the word class that they should get.
#ifndef FENRA_TOOLS_LEXICON_EVALUATION_GOLD_H
#define FENRA_TOOLS_LEXICON_EVALUATION_GOLD_H

#include <istream>
#include <string>
#include <vector>

namespace lexicon_evaluation {

struct GoldForm {
  std::string form;
  std::string lemma;
  std::string category;
  int weight;  // at least 1
};

// Reads lines "CATEGORY LEMMA FORM[*WEIGHT] ..."; # begins a comment. Throws
// std::runtime_error with the number of a malformed line.
std::vector<GoldForm> ReadGold(std::istream& source);

// Whether words of this class are names: of persons, places and bodies, acronyms,
// foreign words.
bool IsName(const std::string& category);

// Whether words of this class carry meaning: names, nouns, adjectives, adverbs and
// verbs other than auxiliaries.
bool IsContent(const std::string& category);

// The word in small letters without marks, as the rules for the web look it up.
std::string Folded(const std::string& word);

}  // namespace lexicon_evaluation

#endif  // FENRA_TOOLS_LEXICON_EVALUATION_GOLD_H
