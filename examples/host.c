/* A host program in C: indexes two articles and shows where a query is found. */
#include <fenra/fenra_c.h>
#include <stdio.h>
#include <string.h>

static int fail(const fenra_error *error) {
  fprintf(stderr, "host: %s\n", error->message);
  return 1;
}

static fenra_status put(fenra_store *store, const char *url, const char *text, fenra_error *error) {
  fenra_article article = {0};
  article.url = url;
  article.data = text;
  article.length = strlen(text);
  article.mime = "text/plain";
  article.date = "20090315";
  return fenra_index(store, &article, error);
}

/* The snippet with brackets around what matched. */
static void print_snippet(const fenra_snippet_text *snippet) {
  size_t at = 0;
  size_t i;
  fputs("    ", stdout);
  for (i = 0; i < snippet->match_count; ++i) {
    const fenra_range match = snippet->matches[i];
    printf("%.*s[%.*s]", (int)(match.begin - at), snippet->text + at,
           (int)(match.end - match.begin), snippet->text + match.begin);
    at = match.end;
  }
  printf("%s\n", snippet->text + at);
}

static int print_results(fenra_results *results) {
  const fenra_hit *hit;
  const fenra_snippet_text *snippet;
  fenra_error error;
  fenra_status status;
  while ((status = fenra_next(results, &hit, &error)) == FENRA_OK) {
    printf("%s %s\n", hit->date, hit->url);
    if (fenra_snippet(results, hit->id, &snippet, &error) == FENRA_OK) {
      print_snippet(snippet);
    }
  }
  return status == FENRA_END ? 0 : fail(&error);
}

static int run(fenra_store *store) {
  fenra_error error;
  fenra_results *results;
  int result;
  if (put(store, "https://example.eus/1", "Gure etxea mendian dago.", &error) != FENRA_OK ||
      put(store, "https://example.eus/2", "Zer da etxe hau mendi honetan?", &error) != FENRA_OK ||
      fenra_search(store, "etxearen mendiak", NULL, &results, &error) != FENRA_OK) {
    return fail(&error);
  }
  result = print_results(results);
  fenra_results_free(results);
  return result;
}

int main(void) {
  fenra_store *store;
  fenra_error error;
  int result;
  if (fenra_open("articles.store", FENRA_CREATE, NULL, &store, &error) != FENRA_OK) {
    return fail(&error);
  }
  result = run(store);
  return fenra_close(store, &error) == FENRA_OK ? result : fail(&error);
}
