// From what a query says to the articles that it asks for.
#ifndef FENRA_QUERY_QUERY_STREAM_H
#define FENRA_QUERY_QUERY_STREAM_H

#include "query/syntax.h"
#include "query/text_check.h"

namespace ostren::fenra::query {

// The ids that have a term, of a phrase too. Throws StoreFailed.
Stream term_stream(ArticledbDb* db, const ArticledbRules& rules, const Term& term);

// All ids that the query asks for. Borrows the syntax and the rules. Throws StoreFailed.
Stream query_stream(ArticledbDb* db, const ArticledbRules& rules, const Syntax& syntax);

struct StoreFailed {};

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_QUERY_STREAM_H
