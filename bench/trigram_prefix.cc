// The articles that hold a trigram whose first word begins with given letters.
// usage: bench_trigram_prefix STORE LETTERS; prints their number and seconds.
#include <fenra/articledb_generator.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

int main(int argc, char** argv) {
  if (argc != 3) {
    return 2;
  }
  const std::unique_ptr<ArticledbDb, int (*)(ArticledbDb*)> db(articledb_db_new(),
                                                               articledb_db_close);
  if (articledb_db_open(db.get(), argv[1]) != 0) {
    return 1;
  }
  const auto start = std::chrono::steady_clock::now();
  OstrenGenerator* const stream = articledb_db_trigram_lookup_generator_new(
      db.get(), argv[2], static_cast<guint32>(strlen(argv[2])));
  if (stream == nullptr) {
    return 1;
  }
  size_t articles = 0;
  void* item;
  int status;
  while ((status = ostren_generator_next(stream, &item)) == 1) {
    ++articles;
  }
  if (status != 0 || ostren_generator_free(stream) != 0) {
    return 1;
  }
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  std::printf("%zu %.9f\n", articles, time.count());
  return 0;
}
