// Other stemmers, for comparison.
#ifndef FENRA_TOOLS_LEXICON_EVALUATION_STEMMERS_H
#define FENRA_TOOLS_LEXICON_EVALUATION_STEMMERS_H

#include <string>
#include <utility>
#include <vector>

#include "tools/lexicon_evaluation/score.h"

namespace lexicon_evaluation {

// Those that this program was built with, each with its name. `dictionary` is the
// path of hunspell's .dic file, beside which the .aff file lies.
std::vector<std::pair<std::string, Lemmatizer>> OtherStemmers(const std::string& dictionary);

}  // namespace lexicon_evaluation

#endif  // FENRA_TOOLS_LEXICON_EVALUATION_STEMMERS_H
