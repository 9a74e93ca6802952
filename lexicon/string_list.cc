// String lists and the lemmatizer that needs nothing else.
#include "lexicon/articledb_lemmatizer.h"

GList* articledb_string_list_new(void) { return nullptr; }

GList* articledb_string_list_prepend(GList* list, const char* str) {
  return g_list_prepend(list, g_strdup(str));
}

void articledb_string_list_free(GList* list) { g_list_free_full(list, g_free); }

GList* articledb_lemmatizer_identity(void* /*lemmatizer*/, const char* form, int length) {
  const bool empty = form == nullptr || length <= 0;
  char* copy = empty ? g_strdup("") : g_strndup(form, static_cast<gsize>(length));
  return g_list_prepend(nullptr, copy);
}
