#include <fenra/articledb_query.h>

#include <cstring>
#include <mutex>

#include "articles/failure.h"
#include "articles/rules.h"
#include "capi/store.h"
#include "facade/lexicon_loading.h"

namespace ostren::fenra::capi {
namespace {

std::string text_of(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

articles::Lemmatizer load_lexicon() {
  static std::once_flag compiled;
  std::call_once(compiled, articles::compile_patterns);
  return load_embedded([](const char* path) {
    return articles::Lemmatizer(articledb_simple_fst_lemmatizer_new(path));
  });
}

const ArticledbRules& rules_named(const char* name) {
  const std::string wanted = name == nullptr ? ARTICLEDB_RULES_WEB : name;
  const ArticledbRules* const rules = articledb_rules_by_name(wanted.c_str());
  if (rules == nullptr) {
    throw Outcome{FENRA_WRONG_CALL,
                  "there are no rules of words '" + wanted + "'; \"web\" and \"plain\" are known"};
  }
  return *rules;
}

articles::Offer offer_of(const fenra_article* article) {
  required(article, "article");
  articles::Offer offer;
  offer.url = required(article->url, "url");
  offer.data = {required(article->data, "data"), article->length};
  offer.mime = article->mime == nullptr ? "text/plain" : article->mime;
  offer.date = text_of(article->date);
  offer.source = text_of(article->source);
  return offer;
}

articles::Query read_query(const SharedStore& store, const char* text) {
  const size_t length = strlen(required(text, "query"));
  ArticledbQuery* query = nullptr;
  ArticledbQueryError error = {};
  // More than the most is refused, whatever the number.
  const int status = articledb_query_parse(
      text, static_cast<guint32>(std::min<size_t>(length, ARTICLEDB_QUERY_MOST_BYTES + 1)),
      store.rules, store.lemmatizer.get(), &query, &error);
  switch (status) {
    case 0:
      return articles::Query(query);
    case ARTICLEDB_QUERY_NO_WORD:
      throw Outcome{FENRA_WRONG_QUERY,
                    "the query '" + std::string(text) +
                        "' has no word: ask for at least one word of letters or digits"};
    case ARTICLEDB_QUERY_WRONG:
      throw Outcome{FENRA_WRONG_QUERY, "at byte " + std::to_string(error.position + 1) +
                                           " of the query '" + text + "': " + error.reason};
    default:
      throw std::bad_alloc();
  }
}

}  // namespace ostren::fenra::capi
