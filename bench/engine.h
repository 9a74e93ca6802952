// What every search engine of the comparison is driven through.
#ifndef FENRA_BENCH_ENGINE_H
#define FENRA_BENCH_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

struct Article {
  std::string url;
  std::string mime;
  std::string text;
  std::string date;  // eight digits; empty, as the source may be
  std::string source;
};

struct Query {
  std::string line;                // as fenra's query language has it
  std::vector<std::string> words;  // lower case, a to z
  bool in_a_row = false;           // these very words, next to one another
  std::string first_date;          // empty: of any date
  std::string last_date;
  std::string source;  // empty: of any source
  size_t most_answers = SIZE_MAX;
};

enum class Access {
  BUILD,   // a new store, filled at one go
  GROW,    // a new store, every article on disk before the next, and asked in between
  APPEND,  // the same with an existing store
  READ,
};

// The functions throw on any failure, which ends the program.
class Engine {
 public:
  virtual ~Engine() = default;

  virtual void add(const Article& article) = 0;

  // On return, all articles added so far are on disk.
  virtual void commit() = 0;

  // Finds the articles that hold a form of every word, or what else the query wants, and
  // calls `visit` with each one's URL, in the order of their storing.
  using Visit = std::function<void(const char* url, size_t length)>;
  virtual void search(const Query& query, const Visit& visit) = 0;
};

// Defined once for each program. `variant` is one of the engine's ways of storing.
// Only variants that keep dates and sources, and fenra's, know more of a query than its words.
// `cache_mb` is the size of the engine's cache, 0 for its default.
std::unique_ptr<Engine> open_engine(const std::string& variant, const std::string& store,
                                    Access access, size_t cache_mb);

}  // namespace bench

#endif  // FENRA_BENCH_ENGINE_H
