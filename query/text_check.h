// The articles of a stream that stand a look at their texts.
#ifndef FENRA_QUERY_TEXT_CHECK_H
#define FENRA_QUERY_TEXT_CHECK_H

#include <string>
#include <vector>

#include "query/stream.h"
#include "rules/articledb_rules.h"

namespace ostren::fenra::query {

// Phrases that all have to be in a text, each by its tokens, which are borrowed.
using Phrases = std::vector<const std::vector<std::string>*>;

// What a text must not have: the phrases, in an article that is in the stream.
struct Exclusion {
  Stream stream;
  Phrases phrases;
};

// The articles of `input`, which is taken over, whose texts have all of the phrases and nothing
// that is excluded. A text is read once, however many phrases it is read for, and only where it
// has to be; an article that has none any more is left out. Status 2 where one cannot be read.
// The rules are borrowed.
OstrenGenerator* text_check_new(ArticledbDb* db, const ArticledbRules& rules, Stream input,
                                const Phrases& phrases, std::vector<Exclusion> exclusions);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_TEXT_CHECK_H
