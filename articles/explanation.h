// What the words of a query were taken for.
#ifndef FENRA_ARTICLES_EXPLANATION_H
#define FENRA_ARTICLES_EXPLANATION_H

#include <fenra/articledb_query.h>

#include <cstdint>
#include <string>

namespace ostren::fenra::articles {

// In words, as "lemma etxe".
std::string meaning(const ArticledbQueryTerm& term);

// How many articles have a term of the query. Throws Failure.
uint64_t articles_of_term(const ArticledbQuery* query, ArticledbDb* db, guint32 term);

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_EXPLANATION_H
