// Where a lexicon keeps what is to be done with words that it does not have. These entries
// are no words: they begin with a character that words do not have, which the lexicon's first
// state reads.
#ifndef FENRA_LEXICON_ENDING_KEY_H
#define FENRA_LEXICON_ENDING_KEY_H

#include <string>
#include <string_view>

namespace Pelko {

// Letters that the end of a word has at most in a lexicon.
constexpr size_t MOST_END_LETTERS = 8;
// And an ending behind a hyphen.
constexpr size_t MOST_ENDING_LETTERS = 16;

// Under which entry the lexicon has the end of a word, with the rule for words that end
// so: as its result N/LETTERS+, take N letters off and put the letters there. Under the
// key of an ending with a hyphen in front it has what can follow a foreign word's
// hyphen.
inline std::string ending_key(std::string_view end) {
  return "~" + std::string(end.rbegin(), end.rend());
}

}  // namespace Pelko

#endif  // FENRA_LEXICON_ENDING_KEY_H
