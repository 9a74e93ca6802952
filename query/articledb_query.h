// The query language: from what people type to a stream of article ids, to what each word was
// taken for, and to the places of a text where it was found.
//
//   etxe zuri          both words, each in any form of its lemma
//   etxe OR mendi      either; OR binds less than what stands side by side, or with AND between
//   -ibai, NOT ibai    not that; binds most
//   (etxe OR mendi) -ibai
//   "etxe zuri bat"    these forms in a row
//   =etxea             exactly this form; form:etxea is the same
//   etxe*              all forms that begin so
//   source:berria      of that source; source:"berria eta argia"
//   date:2009          of that year; date:200903, date:20090315, date:20090315..20090401,
//                      date:2009.., date:..2009
//
// A word is what the store's rules of words make of a text; where they make several of what stands
// between two blanks, all have to be found. What they make no word of counts for nothing. AND, OR
// and NOT are written in capitals. docs/queries.md tells more.
//
// A query knows nothing of a store and can be asked of any that has its rules. It does not change,
// so that threads may share it; streams and markers made from it are used by one thread at a
// time, and end before it.
#ifndef FENRA_ARTICLEDB_QUERY_H
#define FENRA_ARTICLEDB_QUERY_H

#include <fenra/articledb.h>
#include <fenra/articledb_rules.h>
#include <fenra/export.h>
#include <fenra/ostren_generator.h>
#include <glib.h>

FENRA_BEGIN_DECLS

enum {
  ARTICLEDB_QUERY_MOST_BYTES = 4096,
  ARTICLEDB_QUERY_MOST_WORDS = 64,
  ARTICLEDB_QUERY_MOST_DEPTH = 64  // parentheses inside of each other
};

// Status of articledb_query_parse besides 0 and -1, which tells that memory is short.
enum {
  ARTICLEDB_QUERY_WRONG = 1,   // it is no query
  ARTICLEDB_QUERY_NO_WORD = 2  // it has no word
};

typedef struct ArticledbQuery ArticledbQuery;

typedef struct ArticledbQueryError {
  guint32 position;  // the byte of the query where it shows
  char reason[256];  // a sentence in UTF-8 with the remedy, zero-terminated
} ArticledbQueryError;

// Reads `length` bytes of query by some rules of words, with lemmas of `lemmatizer`, which the
// rules' first_lemma takes; both are borrowed for as long as the query lives. *query is set on
// success only; it is released with articledb_query_free. *error, unless `error` is null, is set
// for the two statuses above. Takes time linear in the query.
FENRA_API int articledb_query_parse(const char* query, guint32 length, const ArticledbRules* rules,
                                    void* lemmatizer, ArticledbQuery** parsed,
                                    ArticledbQueryError* error);
FENRA_API void articledb_query_free(ArticledbQuery* query);

// The ids of the articles that the query asks for, ascending. The caller owns the stream, and
// frees it before the query and the store. Null when the store fails. Ids of articles that have
// been replaced may be among them, as in every id stream.
//
// Words, forms, phrases and sources are found while the stream is read, in articles that have been
// indexed meanwhile too; date: and etxe* show the articles as of the call, which reads all keys
// of an index for them. For a phrase of two words, or of more than three, texts of articles that
// have its words are read, those last that nothing else excludes; one that cannot be read gives
// status 2.
FENRA_API OstrenGenerator* articledb_query_generator_new(const ArticledbQuery* query,
                                                         ArticledbDb* db);

// ---- what it was taken for ----

typedef enum ArticledbQueryKind {
  ARTICLEDB_QUERY_LEMMA = 1,  // a word in any form
  ARTICLEDB_QUERY_FORM,
  ARTICLEDB_QUERY_PREFIX,
  ARTICLEDB_QUERY_PHRASE,
  ARTICLEDB_QUERY_SOURCE,
  ARTICLEDB_QUERY_DATES
} ArticledbQueryKind;

typedef struct ArticledbQueryTerm {
  ArticledbQueryKind kind;
  gint32 excluded;   // 1 where it is asked for not to be there
  guint32 position;  // the bytes of the query that it was read from
  guint32 length;
  // Zero-terminated, as long as the query lives. The form by the rules of words; of a phrase its
  // forms with blanks between them; of a source or date what stands in the query.
  const char* form;
  const char* lemma;  // of a word; else null
  // Of dates: the first and the last, as 20090315.
  guint32 first_date;
  guint32 last_date;
} ArticledbQueryTerm;

// The terms in the order of the query; null for a number that is too high.
FENRA_API guint32 articledb_query_terms(const ArticledbQuery* query);
FENRA_API const ArticledbQueryTerm* articledb_query_term(const ArticledbQuery* query,
                                                         guint32 number);

// How many articles of the store have the term. Reads all of their ids. 0, EINVAL for a number
// that is too high, or a code of the store's.
FENRA_API int articledb_query_term_articles(const ArticledbQuery* query, ArticledbDb* db,
                                            guint32 number, guint64* articles);

// ---- where it was found ----

// The bytes of a text from `begin` up to, not including, `end`.
typedef struct ArticledbQueryRange {
  guint32 begin;
  guint32 end;
} ArticledbQueryRange;

// Marks what a query asks for in texts.
typedef struct ArticledbQueryMarker ArticledbQueryMarker;

// Reads the forms of the query's lemmas from the store; later changes of the store do not show.
// Borrows the query. Null when the store fails or memory is short.
FENRA_API ArticledbQueryMarker* articledb_query_marker_new(const ArticledbQuery* query,
                                                           ArticledbDb* db);
FENRA_API void articledb_query_marker_free(ArticledbQueryMarker* marker);

// Sets *ranges to the places of all words of the text that match: forms of a word's lemma, forms
// and beginnings that are asked for, and phrases as a whole, ascending and apart from each other,
// and *count to their number. They stay the marker's and are valid until its next call. What is
// excluded is not marked. Returns 0, or -1 when memory is short. Linear in the text.
FENRA_API int articledb_query_mark(ArticledbQueryMarker* marker, const char* text, guint32 length,
                                   const ArticledbQueryRange** ranges, guint32* count);

// Sets *window to the part of the text of at most about `most` bytes (a long word may be longer)
// with the most different words of the query, of such parts the one where they are closest
// together, and of those the first; it begins and ends at the ends of sentences where there is
// one near, and otherwise of words. Without any match it is the beginning. Ranges as above,
// inside of the window, from the beginning of the text. The same status.
FENRA_API int articledb_query_snippet(ArticledbQueryMarker* marker, const char* text,
                                      guint32 length, guint32 most, ArticledbQueryRange* window,
                                      const ArticledbQueryRange** ranges, guint32* count);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_QUERY_H
