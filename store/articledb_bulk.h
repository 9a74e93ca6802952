// Building a store from many articles at once, and writing a store anew without gaps.
//
// A build gives the store that articledb_db_index would give for the same articles in the
// same order, with the same contents of all nine databases, many times faster: what is
// put into the databases is collected and sorted first and then written in the order in
// which the databases keep it. Until the end there is nothing at the store's path.
//
//   ArticledbBulk* bulk = NULL;
//   int status = articledb_bulk_new(&bulk, "articles.store", 0);
//   for each article {
//     ArticledbBulkArticle* article = NULL;
//     articledb_bulk_prepare(metadata, next_token, tokenizer, lemmatize, lemmatizer, &article);
//     if (article != NULL) status = articledb_bulk_add(bulk, article, NULL);
//   }
//   if (status == 0) status = articledb_bulk_finish(bulk, NULL, NULL);
//   articledb_bulk_free(bulk);
//
// Preparing is the costly part and touches nothing that is shared: any number of threads
// can do it at the same time. All other calls for one build come from one thread at a
// time. The library starts no threads.
//
// Status: 0, or a code as in articledb.h.
#ifndef FENRA_ARTICLEDB_BULK_H
#define FENRA_ARTICLEDB_BULK_H

#include <fenra/articledb.h>
#include <fenra/articledb_lemmatizer.h>
#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

typedef struct ArticledbBulk ArticledbBulk;
typedef struct ArticledbBulkArticle ArticledbBulkArticle;

// Memory that a build takes when it is told nothing else, in bytes.
#define ARTICLEDB_BULK_MEMORY ((guint64)256 << 20)

// Begins a build of the store `path`, which must not exist or be an empty directory; the
// directory above it exists. Everything until the end is written to the directory
// `path`.fenra-build, which holds a copy of what has been sorted; one that an
// interrupted build has left is removed first.
//
// `memory` bounds what is collected, and later the database cache, in bytes; 0 stands for
// ARTICLEDB_BULK_MEMORY. The articles that are prepared and not yet added come on top, and
// one article at a time that is larger.
//
// EEXIST: there is something at `path`. EBUSY: another build of this store is at work. EPERM:
// `path`.fenra-build is no directory, or somebody else's, or others can write to it. -1:
// memory is short. Else the system's code. *bulk is set on success only.
FENRA_API int articledb_bulk_new(ArticledbBulk** bulk, const char* path, guint64 memory);

// Has the store made with the rules of words of that name, one of those in articledb_rules.h,
// by which the articles are prepared; without the call they are plain. EINVAL for another name.
FENRA_API int articledb_bulk_set_rules(ArticledbBulk* bulk, const char* rules);

// Reads an article as articledb_db_index does: tokens, trigrams, lemmas, records. All
// arguments are borrowed. `lemmatize` is called once for each distinct token.
//
// Returns what articledb_db_index would return, as far as it comes from the article itself.
// *article is null when articledb_db_index would have stored nothing, and drawn no id; it is
// not null, and can be added, after 0, and also when the token source has failed: then
// it has what comes before the failure. Thread-safe; but the first tokenizer and the
// first conversion of HTML in a process must not overlap with others.
FENRA_API int articledb_bulk_prepare(GHashTable* metadata, ArticledbNextTokenFunc next_token,
                                     void* tokenizer, ArticledbLemmatizerFunc lemmatize,
                                     void* lemmatizer, ArticledbBulkArticle** article);

// Releases an article that is not added. Null is allowed.
FENRA_API void articledb_bulk_article_free(ArticledbBulkArticle* article);

// Adds the article, which it takes over whatever happens, to the build: behind all that
// have been added before, and replacing those of the same URL. *id, unless `id` is null,
// becomes its id on success. EINVAL for null, which changes nothing. After a failure, as ENOSPC
// while sorted articles are written, every later call for the build but the freeing gives the same
// code.
FENRA_API int articledb_bulk_add(ArticledbBulk* bulk, ArticledbBulkArticle* article, guint64* id);

// Is told now and then how much has been done out of `total`, in a unit of no meaning;
// any result but 0 ends the work with ECANCELED.
typedef int (*ArticledbBulkProgressFunc)(void* state, guint64 done, guint64 total);

// Writes the store and puts it in its place, in one step, when all of it is on the disk.
// Without any article it is an empty one. `progress` may be null. EEXIST when something has
// appeared there meanwhile. After 0 the store can be opened, and the build only be freed.
FENRA_API int articledb_bulk_finish(ArticledbBulk* bulk, ArticledbBulkProgressFunc progress,
                                    void* state);

// Releases the build; when it has not been finished, gives up and removes what it has
// written. Null is allowed.
FENRA_API void articledb_bulk_free(ArticledbBulk* bulk);

// Writes a store anew, in an order and with a fill of the pages as a build does, and puts
// it into the place of the old one in one step. Articles, ids and the id counter stay. What
// leads to ids that have neither a URL record nor a text, since their articles were replaced or
// deleted, or never came to have them, is left out: postings of forms, trigrams, sources and dates,
// and ids of URLs. The log is gone, since nothing is left in it. Room for a second copy of the
// store is needed beside it for a time, in `path`.fenra-build. `memory` and `progress` as above.
//
// Mode and owner stay, the owner as far as the user may give files away.
//
// While it works nobody else can open the store. EBUSY when somebody has it open; ENOENT
// when there is none; EPERM as above, or for a directory in it, or a file that cannot be
// linked; EINVAL, or ENOSYS, on a file system that cannot exchange two directories. The
// store is as it was after every failure, and one of the two is there, whole, whenever
// the process is killed.
FENRA_API int articledb_bulk_compact(const char* path, guint64 memory,
                                     ArticledbBulkProgressFunc progress, void* state);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_BULK_H
