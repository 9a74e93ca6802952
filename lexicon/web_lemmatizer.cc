#include "lexicon/web_lemmatizer.h"

#include "lexicon/articledb_lemmatizer.h"

GList* articledb_web_lemmatizer_first_lemma(void* lemmatizer, const char* form, int length) {
  return articledb_simple_fst_lemmatizer_first_lemma(lemmatizer, form, length);
}
