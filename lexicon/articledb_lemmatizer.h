// Lemmatizers: from a word form to the lemmas under which it is indexed and
// searched, as string lists.
#ifndef FENRA_ARTICLEDB_LEMMATIZER_H
#define FENRA_ARTICLEDB_LEMMATIZER_H

#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

// ---- string lists ----
//
// A GList whose elements are zero-terminated strings from g_strdup. Null is the
// empty list. Who receives a list owns it and releases it with
// articledb_string_list_free.

FENRA_API GList* articledb_string_list_new(void);

// Puts a copy of `str` in front and returns the new head.
FENRA_API GList* articledb_string_list_prepend(GList* list, const char* str);

// Releases the strings and the cells. Null is allowed.
FENRA_API void articledb_string_list_free(GList* list);

// ---- lemmatizers ----

// The lemmas of a form of `length` bytes (not necessarily zero-terminated), as a
// list that the caller owns, or null when there is none. `lemmatizer` is the
// function's own state.
typedef GList* (*ArticledbLemmatizerFunc)(void* lemmatizer, const char* form, int length);

// Every form is its own lemma: a list of one copy of the form, cut at its first
// zero byte. `lemmatizer` is ignored.
FENRA_API GList* articledb_lemmatizer_identity(void* lemmatizer, const char* form, int length);

// Loads a lexicon (AT&T text when the path contains ".att", otherwise a binary
// transducer file) into memory; the file is not needed afterwards. Null when it
// cannot be loaded, with the loader's message on standard error. Released with
// articledb_simple_fst_lemmatizer_free. The lemmatizer is a QorLexicon*, so the
// functions of <fenra/ostren_ffst.h> take it too.
FENRA_API void* articledb_simple_fst_lemmatizer_new(const char* path);

// Releases the lemmatizer and returns 0. Null is allowed.
FENRA_API int articledb_simple_fst_lemmatizer_free(void* lemmatizer);

// The lemma of the form's first analysis, as a list of exactly one string: the
// bytes between the analysis' first "/" and its first "+" behind it. The form
// itself when it has no analysis, the search for it expands a million states
// (which no sane lexicon makes it do), or the first one lacks the "/" or the "+" or
// has the "+" first. Null only when `lemmatizer` is null. The form is looked up
// byte for byte, without case folding. The lemmas of some hundred thousand forms are
// remembered. Several threads may ask one lemmatizer at once.
FENRA_API GList* articledb_simple_fst_lemmatizer_first_lemma(void* lemmatizer, const char* form,
                                                             int length);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_LEMMATIZER_H
