/* fenra for programs in C, and for languages that call C: a store of Basque web articles is
 * opened, articles are put in, and queries are asked. It needs no header but those of C.
 *
 *   fenra_store *store;
 *   fenra_results *results;
 *   const fenra_hit *hit;
 *   fenra_error error;
 *   fenra_article article = {"https://example.eus/1", "Etxe zuria da.", 14, "text/plain",
 *                            "20090315", "example"};
 *   if (fenra_open("articles.store", FENRA_CREATE, NULL, &store, &error) != FENRA_OK ||
 *       fenra_index(store, &article, &error) != FENRA_OK ||
 *       fenra_search(store, "etxearen", NULL, &results, &error) != FENRA_OK) {
 *     fprintf(stderr, "%s\n", error.message);
 *     exit(1);
 *   }
 *   while (fenra_next(results, &hit, &error) == FENRA_OK) puts(hit->url);
 *   fenra_results_free(results);
 *   fenra_close(store, &error);
 *
 * STATUS. Every function that can fail returns a fenra_status. What it gives back through a pointer
 * is set to NULL or 0 first, and to something else for FENRA_OK only. The last argument takes the
 * status once more with a sentence for people; it may be NULL. It belongs to the caller, so it
 * stays as it is until it is given to another call, and threads do not share it. FENRA_OK and
 * FENRA_END leave an empty sentence.
 *
 * Every function may return, besides what is said at it:
 *   FENRA_WRONG_CALL  a handle, or another argument that must not be NULL, is NULL, or it has no
 *                     sense. Nothing has been done.
 *   FENRA_FORKED      the handle was made before fork(2), by the parent; the child opens its own.
 *                     Nothing has been done, neither to the store nor to the handle, whose memory
 *                     stays until the child ends.
 *   FENRA_CLOSED      the results are those of a store that has been closed, or is half closed.
 *   FENRA_NO_MEMORY   memory is short. (GLib and PCRE may end the process before.)
 *   FENRA_STORE_CHANGED  the store is open for reading only and somebody has written to it;
 *                     close it and open it again.
 *   FENRA_FAILED      the store, the disk or the system failed; the sentence has the reason.
 *                     Berkeley DB may print more to standard error.
 *
 * LIFETIMES. A handle lives until its fenra_..._free or fenra_close; using it after that is
 * undefined, as with free(3). All strings that are handed in are copied or read before the call
 * returns. Of those that are handed out each function says how long they are valid. All are
 * zero-terminated.
 *
 * THREADS. Handles that have nothing to do with each other may be used at the same time by
 * different threads, also on the same store. A store and all results and explanations of it take
 * turns by themselves: calls may come from any threads, and wait for each other. Two things are up
 * to the caller: a handle is closed or freed once, when no other call with it is under way or to
 * come; and what a call hands out is read before another thread makes it invalid. The same holds
 * for a bulk build. Other processes may use the store at the same time.
 *
 * No C++ exception leaves a function, and none may come out of a callback.
 */
#ifndef FENRA_C_H
#define FENRA_C_H

#include <fenra/export.h>
#include <stddef.h>
#include <stdint.h>

FENRA_BEGIN_DECLS

typedef enum fenra_status {
  FENRA_OK = 0,
  FENRA_END = 1,            /* fenra_next: there are no more */
  FENRA_WRONG_CALL = 2,     /* an argument is NULL or has no sense */
  FENRA_WRONG_QUERY = 3,    /* it is no query, or it has no word */
  FENRA_REFUSED = 4,        /* the article cannot be stored as it is; the others can */
  FENRA_NOT_FOUND = 5,      /* there is no such article, or no such store */
  FENRA_EXISTS = 6,         /* there is something else at the path, or a store of other rules */
  FENRA_READ_ONLY = 7,      /* the store is open for reading only */
  FENRA_DENIED = 8,         /* permissions, or files that others could have prepared */
  FENRA_BUSY = 9,           /* others are opening, closing, building or compacting it */
  FENRA_NOT_IN_ORDER = 10,  /* for reading only: it has to be closed in order first */
  FENRA_STORE_CHANGED = 11, /* for reading only: somebody has written to it */
  FENRA_CANCELLED = 12,     /* the callback has asked for the end */
  FENRA_CLOSED = 13,        /* the store of these results is closed */
  FENRA_FORKED = 14,        /* the handle is that of the parent process */
  FENRA_NO_MEMORY = 15,
  FENRA_FAILED = 16
} fenra_status;

enum { FENRA_MESSAGE_BYTES = 1024 };

typedef struct fenra_error {
  fenra_status status;
  /* UTF-8 as far as what is quoted is; cut where it has no room. */
  char message[FENRA_MESSAGE_BYTES];
} fenra_error;

/* The version of the library, "MAJOR.MINOR.PATCH"; constant. */
FENRA_API const char* fenra_version(void);

/* ---- stores ---- */

typedef struct fenra_store fenra_store;

enum {
  /* Makes the store when there is none: the path does not exist, but the directory above it, or is
   * an empty directory, which is replaced. */
  FENRA_CREATE = 1,
  /* Writes nothing to the directory and takes no lock; permission to read is enough. Such a handle
   * shows the store as it is now: when somebody changes it, reading gives FENRA_STORE_CHANGED. Not
   * together with FENRA_CREATE. */
  FENRA_OPEN_READ_ONLY = 2
};

/* Opens the store in the directory `path`. `flags` is 0 or of those above. `rules` names the rules
 * of words, "web" or "plain", of a new store; NULL stands for "web". A store that is there has its
 * own, and those that are named have to be the same.
 *
 * Takes the lexicon into memory, once for each handle. Articles go through the store's journal, as
 * those of the fenra program do.
 *
 * FENRA_NOT_FOUND: there is no store. FENRA_EXISTS: there is something else, or a store of other
 * rules. FENRA_BUSY: somebody has been opening or closing it for two minutes. FENRA_DENIED;
 * FENRA_NOT_IN_ORDER. */
FENRA_API fenra_status fenra_open(const char* path, unsigned flags, const char* rules,
                                  fenra_store** store, fenra_error* error);

/* Closes the store and releases the handle. All of its results that are not freed yet end: what
 * they have handed out is invalid, and their calls give FENRA_CLOSED, but for their freeing, which
 * is still due. NULL gives FENRA_OK. Unless it returns FENRA_OK the handle stays, for another call
 * of fenra_close only; every other one gives FENRA_CLOSED. */
FENRA_API fenra_status fenra_close(fenra_store* store, fenra_error* error);

/* The number of articles. Looks at the record of each, so it takes time linear in their number. */
FENRA_API fenra_status fenra_count(fenra_store* store, uint64_t* articles, fenra_error* error);

/* ---- articles ---- */

typedef struct fenra_article {
  const char* url;
  const char* data; /* the text or page; may hold any bytes */
  size_t length;    /* of the data */
  const char* mime; /* "text/html" or "text/plain", also with "; charset=..."; NULL: "text/plain" */
  const char* date; /* 8 digits, as "20090315"; NULL or empty: none */
  const char* source; /* NULL or empty: none */
} fenra_article;

/* Stores an article. It replaces the one of the same URL. A '|' in a URL is stored as "%7C".
 * After FENRA_OK all of it is on the disk.
 *
 * FENRA_REFUSED, and nothing done: the text is empty, too long or not of the MIME type, the page
 * has no text, the URL is empty or has control characters, the date is not 8 digits; for a store
 * of the rules "plain" also where the text is not UTF-8. FENRA_READ_ONLY. */
FENRA_API fenra_status fenra_index(fenra_store* store, const fenra_article* article,
                                   fenra_error* error);

/* Deletes the article of the URL. After FENRA_OK that is on the disk. FENRA_NOT_FOUND: there is
 * none. FENRA_READ_ONLY. */
FENRA_API fenra_status fenra_delete(fenra_store* store, const char* url, fenra_error* error);

/* ---- queries ----
 *
 * A query is written as for `fenra search`: words, each in any form of its lemma; OR, AND, NOT,
 * -word and parentheses; "words in a row"; =form; begin*; source:NAME; date:2009 and ranges. */

typedef enum fenra_order {
  FENRA_ORDER_INDEXING = 0, /* as the articles were indexed; found while they are asked for */
  FENRA_ORDER_NEWEST = 1,   /* the one that was indexed last comes first */
  FENRA_ORDER_DATE = 2      /* the latest date first; those without a date come last */
} fenra_order;

/* A part of an answer; all 0 is all of it in the order of indexing. */
typedef struct fenra_page {
  fenra_order order;
  uint64_t after; /* begin behind the article with this id, in the order of the answer; 0: none */
  uint64_t limit; /* end after so many articles; 0: no limit */
} fenra_page;

typedef struct fenra_results fenra_results;

/* Asks for the articles of a query. `page` may be NULL. The results read from the store while they
 * are iterated; with another order than that of indexing the ids are read here, and with
 * FENRA_ORDER_DATE the dates too.
 *
 * FENRA_WRONG_QUERY, with the byte where it shows and the remedy; also for a query without a word,
 * as of blanks. FENRA_WRONG_CALL for an order that there is not, and for an `after` that is not in
 * an answer in the order of dates. */
FENRA_API fenra_status fenra_search(fenra_store* store, const char* query, const fenra_page* page,
                                    fenra_results** results, fenra_error* error);

/* Valid until the next fenra_next with the same results, their freeing, or the closing of the
 * store. Later versions may have more members behind these. */
typedef struct fenra_hit {
  uint64_t id; /* never 0, and never of another article */
  const char* url;
  const char* date;   /* empty: none */
  const char* source; /* empty: none */
  const char* mime;
} fenra_hit;

/* The next article. FENRA_END: there are no more, now and at every later call. */
FENRA_API fenra_status fenra_next(fenra_results* results, const fenra_hit** hit,
                                  fenra_error* error);

/* The title of an article of the answer, by its id: the first line of its text, of at most 200
 * characters. UTF-8. Valid until the next call of fenra_title with the same results, their
 * freeing, or the closing of the store. Reads the text of the article, unless the last call of
 * fenra_title or fenra_snippet has. FENRA_NOT_FOUND: the article has been replaced or deleted
 * since. */
FENRA_API fenra_status fenra_title(fenra_results* results, uint64_t id, const char** title,
                                   fenra_error* error);

/* The bytes of a snippet from `begin` up to, not including, `end`. */
typedef struct fenra_range {
  uint32_t begin;
  uint32_t end;
} fenra_range;

typedef struct fenra_snippet_text {
  const char* text; /* UTF-8 where the article is */
  size_t length;
  const fenra_range* matches; /* what the query asks for, ascending and apart from each other */
  size_t match_count;
} fenra_snippet_text;

/* The part of an article's text, of about 240 bytes, that has most of the query. As fenra_title;
 * valid until the next call of fenra_snippet with the same results. */
FENRA_API fenra_status fenra_snippet(fenra_results* results, uint64_t id,
                                     const fenra_snippet_text** snippet, fenra_error* error);

/* Releases the results, before or after the closing of the store. NULL is allowed, and a handle of
 * the parent process is left alone. */
FENRA_API void fenra_results_free(fenra_results* results);

/* ---- what the words of a query are taken for ---- */

typedef enum fenra_term_kind {
  FENRA_TERM_LEMMA = 1, /* a word in any form */
  FENRA_TERM_FORM = 2,
  FENRA_TERM_PREFIX = 3,
  FENRA_TERM_PHRASE = 4,
  FENRA_TERM_SOURCE = 5,
  FENRA_TERM_DATES = 6
} fenra_term_kind;

/* Later versions may have more members behind these. */
typedef struct fenra_term {
  fenra_term_kind kind;
  int excluded;        /* 1 where it is asked for not to be there */
  const char* written; /* as it stands in the query */
  const char* form;    /* as the rules of words have it */
  const char* lemma;   /* of a word; else NULL */
  const char* meaning; /* for people, as "lemma etxe" */
  uint32_t first_date; /* of dates, as 20090315; else 0 */
  uint32_t last_date;
  uint64_t articles; /* how many have it */
} fenra_term;

typedef struct fenra_explanation fenra_explanation;

/* Tells the terms of a query in their order, and counts the articles of each, which takes time
 * linear in these numbers. FENRA_WRONG_QUERY as fenra_search. */
FENRA_API fenra_status fenra_explain(fenra_store* store, const char* query,
                                     fenra_explanation** explanation, fenra_error* error);

/* The terms, counted from 0; NULL behind the last one and for NULL. Valid until the explanation is
 * freed, which knows nothing of the store any more: both work in a forked child and after the
 * closing of the store. Any number of threads may call it at once. */
FENRA_API const fenra_term* fenra_explanation_term(const fenra_explanation* explanation,
                                                   size_t number);

/* NULL is allowed. */
FENRA_API void fenra_explanation_free(fenra_explanation* explanation);

/* ---- building a new store from many articles, many times faster ---- */

typedef struct fenra_bulk fenra_bulk;

/* Begins a build of the store `path`, at which there is nothing, or an empty directory, until the
 * end; what is collected is in the directory `path`.fenra-build beside it. `rules` as fenra_open.
 * FENRA_EXISTS: there is something. FENRA_BUSY: somebody else is building it. FENRA_DENIED. */
FENRA_API fenra_status fenra_bulk_open(const char* path, const char* rules, fenra_bulk** bulk,
                                       fenra_error* error);

/* Adds an article, behind all others and replacing the one of the same URL. FENRA_REFUSED as
 * fenra_index; the build goes on. After any other failure it can only be freed. */
FENRA_API fenra_status fenra_bulk_add(fenra_bulk* bulk, const fenra_article* article,
                                      fenra_error* error);

/* Is told now and then how much has been done out of `total`, in a unit of no meaning; any result
 * but 0 ends the work. It must not use the bulk. */
typedef int (*fenra_progress)(void* state, uint64_t done, uint64_t total);

/* Writes the store and puts it in its place in one step. `progress` may be NULL; `state` is given
 * to it. After FENRA_OK the store can be opened; and after that or a failure, FENRA_CANCELLED
 * among them, the build can only be freed. FENRA_EXISTS: something has appeared there meanwhile. */
FENRA_API fenra_status fenra_bulk_finish(fenra_bulk* bulk, fenra_progress progress, void* state,
                                         fenra_error* error);

/* Releases the build; one that is not finished is given up, and what it has written is removed.
 * NULL is allowed, and a handle of the parent process is left alone. */
FENRA_API void fenra_bulk_free(fenra_bulk* bulk);

FENRA_END_DECLS

#endif /* FENRA_C_H */
