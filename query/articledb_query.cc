#include "query/articledb_query.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "query/marker.h"
#include "query/query_stream.h"
#include "query/snippet.h"
#include "query/syntax.h"

using namespace ostren::fenra;
using namespace ostren::fenra::query;

struct ArticledbQuery {
  const ArticledbRules& rules;
  Syntax syntax;
  std::vector<ArticledbQueryTerm> terms;
};

struct ArticledbQueryMarker {
  Marker marker;
  std::vector<ArticledbQueryRange> ranges;
};

namespace {

ArticledbQueryTerm public_term(const Term& term) {
  const bool is_word = term.kind == ARTICLEDB_QUERY_LEMMA;
  ArticledbQueryTerm result = {};
  result.kind = term.kind;
  result.excluded = term.excluded ? 1 : 0;
  result.position = static_cast<guint32>(term.begin);
  result.length = static_cast<guint32>(term.end - term.begin);
  result.form = is_word ? term.word.form.c_str() : term.value.c_str();
  result.lemma = is_word ? term.word.lemma.c_str() : nullptr;
  result.first_date = term.first_date;
  result.last_date = term.last_date;
  return result;
}

// The reason as a whole number of characters.
void set_error(ArticledbQueryError* error, const SyntaxError& found) {
  if (error == nullptr) {
    return;
  }
  const std::unique_ptr<char, Releaser<g_free>> valid(
      g_utf8_make_valid(found.reason.data(), static_cast<gssize>(found.reason.size())));
  error->position = static_cast<guint32>(found.position);
  size_t length = std::min(strlen(valid.get()), sizeof error->reason - 1);
  while (length > 0 && (valid.get()[length] & 0xC0) == 0x80) {
    --length;
  }
  memcpy(error->reason, valid.get(), length);
  error->reason[length] = '\0';
}

bool has_record(ArticledbDb* db, guint64 id, int* status) {
  guint32 size = 0;
  char nothing;
  *status = articledb_db_lookup_id_to_url(db, id, &nothing, &size);
  const bool has = *status == 0 || *status == STATUS_BUFFER_SMALL;
  *status = has || *status == STATUS_NOT_FOUND ? 0 : *status;
  return has;
}

int set_ranges(ArticledbQueryMarker* marker, const std::vector<Match>& matches,
               const ArticledbQueryRange& window, const ArticledbQueryRange** ranges,
               guint32* count) {
  marker->ranges.clear();
  for (const Match& match : matches) {
    if (window.begin <= match.begin && match.end <= window.end) {
      marker->ranges.push_back({match.begin, match.end});
    }
  }
  *ranges = marker->ranges.data();
  *count = static_cast<guint32>(marker->ranges.size());
  return 0;
}

}  // namespace

int articledb_query_parse(const char* query, guint32 length, const ArticledbRules* rules,
                          void* lemmatizer, ArticledbQuery** parsed, ArticledbQueryError* error) {
  try {
    const WordReader words(*rules, lemmatizer);
    auto made = std::unique_ptr<ArticledbQuery>(
        new ArticledbQuery{*rules, parse({query, length}, words), {}});
    for (const Term& term : made->syntax.terms) {
      made->terms.push_back(public_term(term));
    }
    *parsed = made.release();
    return 0;
  } catch (const SyntaxError& found) {
    set_error(error, found);
    return found.no_word ? ARTICLEDB_QUERY_NO_WORD : ARTICLEDB_QUERY_WRONG;
  } catch (const std::exception&) {
    return -1;
  }
}

void articledb_query_free(ArticledbQuery* query) { delete query; }

OstrenGenerator* articledb_query_generator_new(const ArticledbQuery* query, ArticledbDb* db) {
  try {
    return query_stream(db, query->rules, query->syntax).release();
  } catch (const StoreFailed&) {
    return nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
}

guint32 articledb_query_terms(const ArticledbQuery* query) {
  return static_cast<guint32>(query->terms.size());
}

const ArticledbQueryTerm* articledb_query_term(const ArticledbQuery* query, guint32 number) {
  return number < query->terms.size() ? &query->terms[number] : nullptr;
}

int articledb_query_term_articles(const ArticledbQuery* query, ArticledbDb* db, guint32 number,
                                  guint64* articles) {
  if (number >= query->terms.size()) {
    return EINVAL;
  }
  try {
    const Stream stream = term_stream(db, query->rules, query->syntax.terms[number]);
    guint64 count = 0;
    void* item = nullptr;
    int pulled;
    while ((pulled = ostren_generator_next(stream.get(), &item)) == 1) {
      int status = 0;
      count += has_record(db, *static_cast<const guint64*>(item), &status) ? 1 : 0;
      if (status != 0) {
        return status;
      }
    }
    if (pulled != 0) {
      return EIO;
    }
    *articles = count;
    return 0;
  } catch (const StoreFailed&) {
    return EIO;
  } catch (const std::exception&) {
    return -1;
  }
}

ArticledbQueryMarker* articledb_query_marker_new(const ArticledbQuery* query, ArticledbDb* db) {
  try {
    return new ArticledbQueryMarker{Marker(db, query->rules, query->syntax), {}};
  } catch (const StoreFailed&) {
    return nullptr;
  } catch (const std::exception&) {
    return nullptr;
  }
}

void articledb_query_marker_free(ArticledbQueryMarker* marker) { delete marker; }

int articledb_query_mark(ArticledbQueryMarker* marker, const char* text, guint32 length,
                         const ArticledbQueryRange** ranges, guint32* count) {
  try {
    return set_ranges(marker, marker->marker.find({text, length}), {0, length}, ranges, count);
  } catch (const std::exception&) {
    return -1;
  }
}

int articledb_query_snippet(ArticledbQueryMarker* marker, const char* text, guint32 length,
                            guint32 most, ArticledbQueryRange* window,
                            const ArticledbQueryRange** ranges, guint32* count) {
  try {
    const std::vector<Match> matches = marker->marker.find({text, length});
    *window = best_window({text, length}, matches, most);
    return set_ranges(marker, matches, *window, ranges, count);
  } catch (const std::exception&) {
    return -1;
  }
}
