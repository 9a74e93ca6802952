// What every search engine of the comparison is driven through.
#ifndef FENRA_BENCH_ENGINE_H
#define FENRA_BENCH_ENGINE_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace bench {

struct Article {
  std::string url;
  std::string mime;
  std::string text;
};

enum class Access {
  BUILD,   // a new store, filled at one go
  APPEND,  // an existing store, every article on disk before the next
  READ,
};

// The functions throw on any failure, which ends the program.
class Engine {
 public:
  virtual ~Engine() = default;

  virtual void add(const Article& article) = 0;

  // On return, all articles added so far are on disk.
  virtual void commit() = 0;

  // Finds the articles that hold a form of every word (lower case, a to z) and calls
  // `visit` with each one's URL, in the order of their storing.
  using Visit = std::function<void(const char* url, size_t length)>;
  virtual void search(const std::vector<std::string>& words, const Visit& visit) = 0;
};

// Defined once for each program. `variant` is one of the engine's ways of storing.
// `cache_mb` is the size of the engine's cache, 0 for its default.
std::unique_ptr<Engine> open_engine(const std::string& variant, const std::string& store,
                                    Access access, size_t cache_mb);

}  // namespace bench

#endif  // FENRA_BENCH_ENGINE_H
