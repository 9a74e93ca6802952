#include "articles/explanation.h"

#include <fenra/articledb_query.h>

#include <string>
#include <vector>

#include "capi/store.h"

namespace ostren::fenra::capi {
namespace {

struct Term {
  std::string written;
  std::string form;
  std::string lemma;
  std::string meaning;
  fenra_term shown = {};
};

Term term_of(const ArticledbQueryTerm& term, const char* query) {
  static_assert(static_cast<int>(FENRA_TERM_DATES) == ARTICLEDB_QUERY_DATES,
                "the kinds have the same numbers");
  Term result;
  result.written.assign(query + term.position, term.length);
  result.form = term.form;
  result.lemma = term.lemma == nullptr ? "" : term.lemma;
  result.meaning = articles::meaning(term);
  result.shown.kind = static_cast<fenra_term_kind>(term.kind);
  result.shown.excluded = term.excluded;
  result.shown.first_date = term.first_date;
  result.shown.last_date = term.last_date;
  return result;
}

}  // namespace
}  // namespace ostren::fenra::capi

using namespace ostren::fenra::capi;

struct fenra_explanation {
  fenra_explanation(const SharedStore& shared, const char* text) {
    const ostren::fenra::articles::Query query = read_query(shared, text);
    for (guint32 i = 0; i < articledb_query_terms(query.get()); ++i) {
      const ArticledbQueryTerm& term = *articledb_query_term(query.get(), i);
      terms.push_back(term_of(term, text));
      terms.back().shown.articles =
          ostren::fenra::articles::articles_of_term(query.get(), shared.db.get(), i);
      terms.back().shown.lemma = term.lemma;
    }
    // The strings have their places now.
    for (Term& term : terms) {
      term.shown.written = term.written.c_str();
      term.shown.form = term.form.c_str();
      term.shown.lemma = term.shown.lemma == nullptr ? nullptr : term.lemma.c_str();
      term.shown.meaning = term.meaning.c_str();
    }
  }

  std::vector<Term> terms;
};

fenra_status fenra_explain(fenra_store* store, const char* query, fenra_explanation** explanation,
                           fenra_error* error) {
  return guarded(error, [&] {
    cleared(explanation, "explanation");
    const SharedStore& shared = *required(store, "store")->shared;
    const Use use(*store->shared);
    *explanation = new fenra_explanation(shared, query);
    return FENRA_OK;
  });
}

const fenra_term* fenra_explanation_term(const fenra_explanation* explanation, size_t number) {
  return explanation == nullptr || number >= explanation->terms.size()
             ? nullptr
             : &explanation->terms[number].shown;
}

void fenra_explanation_free(fenra_explanation* explanation) { delete explanation; }
