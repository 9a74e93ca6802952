#include "articles/explanation.h"

#include "articles/failure.h"

namespace ostren::fenra::articles {

std::string meaning(const ArticledbQueryTerm& term) {
  std::string form = term.form;
  switch (term.kind) {
    case ARTICLEDB_QUERY_LEMMA:
      return "lemma " + std::string(term.lemma);
    case ARTICLEDB_QUERY_FORM:
      return "form " + form;
    case ARTICLEDB_QUERY_PREFIX:
      return "forms " + form + "...";
    case ARTICLEDB_QUERY_PHRASE:
      return "in a row " + form;
    case ARTICLEDB_QUERY_SOURCE:
      return "source " + form;
    case ARTICLEDB_QUERY_DATES:
      return "dates " + std::to_string(term.first_date) + " to " + std::to_string(term.last_date);
  }
  return form;
}

uint64_t articles_of_term(const ArticledbQuery* query, ArticledbDb* db, guint32 term) {
  guint64 count = 0;
  check(articledb_query_term_articles(query, db, term, &count),
        "cannot count the articles of a word");
  return count;
}

}  // namespace ostren::fenra::articles
