// Rules of words: what of an article's data is its text, what of a text is a word, and which
// lemma a word has. A store keeps to the rules that it was made with.
//
// "plain" are runs of the letters a to z, digits, underscores and hyphens as they stand, out of
// UTF-8 text and HTML that has a title and a body. "web" are words of any script without capitals
// and marks, compounds and addresses as they stand and by their parts, out of any page that a
// browser would show. docs/rules.md compares them.
#ifndef FENRA_ARTICLEDB_RULES_H
#define FENRA_ARTICLEDB_RULES_H

#include <fenra/articledb_lemmatizer.h>
#include <fenra/articledb_util.h>
#include <fenra/export.h>
#include <glib.h>

FENRA_BEGIN_DECLS

// Constant for the life of the process, and made by articledb_rules_by_name only. All of it may
// be used by several threads at once, a tokenizer by one at a time; but the first tokenizer and
// the first conversion of a page in a process must not overlap with others.
typedef struct ArticledbRules {
  const char* name;

  // A tokenizer over an article's data, by the MIME type under "mime". Adds "_txt", the
  // zero-terminated text, which the caller releases with g_free after the tokenizer, and
  // "_length", the data's length held in the value slot, to the table. Null, the table
  // unchanged, for data that are refused; *reason, to be released with g_free, then says why, or
  // is null. Released with tokenizer_free.
  void* (*tokenizer_new_with_metadata_and_data)(GHashTable* metadata, const char* data, int length,
                                                char** reason);

  // A tokenizer over a text that such a one has made, or over a query; the text is borrowed.
  // Never null. Released with tokenizer_free, which takes null.
  void* (*tokenizer_new)(const char* text, int length);
  void (*tokenizer_free)(void* tokenizer);

  // The token source.
  ArticledbNextTokenFunc next_token;

  // Whether the token delivered last is a part of the last one that is none: a text that has
  // that one has its parts too, and in a query they say no more.
  int (*is_part)(const void* tokenizer);

  // The lemmatizer, of a lexicon from articledb_simple_fst_lemmatizer_new.
  ArticledbLemmatizerFunc first_lemma;

  // Where the token that `tokenizer` has delivered last stands in its text, the first byte and
  // the one behind the last: the words of the text itself, which a form may be folded from. Costs
  // a second look at the text around a token. False only when memory is short.
  int (*token_place)(void* tokenizer, const char* text, const char* token, int length,
                     guint32* begin, guint32* end);
} ArticledbRules;

#define ARTICLEDB_RULES_PLAIN "plain"
#define ARTICLEDB_RULES_WEB "web"

// The rules of a name; null for any other name.
FENRA_API const ArticledbRules* articledb_rules_by_name(const char* name);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_RULES_H
