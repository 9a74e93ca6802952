// Running text with the lemma and the class of every word.
#ifndef FENRA_TOOLS_LEXICON_EVALUATION_RUNNING_H
#define FENRA_TOOLS_LEXICON_EVALUATION_RUNNING_H

#include <istream>
#include <string>
#include <vector>

#include "tools/lexicon_evaluation/gold.h"

namespace lexicon_evaluation {

// Reads sentences of words "FORM:LEMMA:CLASS" or, where the form is its lemma,
// "FORM:CLASS", in their order; # begins a comment. Throws std::runtime_error with
// the number of a malformed line.
std::vector<GoldForm> ReadRunning(std::istream& source);

// What of a text is judged together.
struct Selection {
  std::string name;
  std::vector<GoldForm> words;
};

// All words, the same with forms and lemmas folded, the words of small letters of ASCII
// that are no names, and the names, in this order.
enum SelectionIndex { kAll, kFolded, kSmall, kNames };
std::vector<Selection> Selections(const std::vector<GoldForm>& words);

}  // namespace lexicon_evaluation

#endif  // FENRA_TOOLS_LEXICON_EVALUATION_RUNNING_H
