// The articles of a stream that stand a look at their texts.
#ifndef FENRA_QUERY_TEXT_CHECK_H
#define FENRA_QUERY_TEXT_CHECK_H

#include <string>
#include <vector>

#include "query/stream.h"
#include "rules/articledb_rules.h"

namespace ostren::fenra::query {

// A phrase that a text is asked for, by its tokens, which are borrowed.
struct Phrase {
  const std::vector<std::string>* tokens;
  // Where begins_trigrams(*tokens): the articles with such trigrams. All others have the phrase at
  // the end of their text only, or before a word that is in no trigram. Else null.
  Stream known;
};
using Phrases = std::vector<Phrase>;

// What a text must not have: all of the phrases, in an article that is in the stream.
struct Exclusion {
  Stream stream;
  Phrases phrases;
};

// The articles of `input` that have all of the phrases and nothing that is excluded. A text is read
// once, however many phrases it is read for, and only where it has to be; an article whose text is
// read and that has none any more is left out. Status 2 where one cannot be read. The rules are
// borrowed.
OstrenGenerator* text_check_new(ArticledbDb* db, const ArticledbRules& rules, Stream input,
                                Phrases phrases, std::vector<Exclusion> exclusions);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_TEXT_CHECK_H
