// fenra, through its classes: index() for every article, lookup() for every query.
// Its cache is set by the DB_CONFIG file of the store. The variants are rules of words.
#include <fenra/fenra.h>

#include <stdexcept>

#include "bench/engine.h"

namespace bench {
namespace {

using ostren::fenra::Fenra;
using ostren::fenra::FENRA_NO_ERROR;
using ostren::fenra::ResultIterator;

class FenraEngine : public Engine {
 public:
  explicit FenraEngine(const std::string& store) : fenra_(Fenra::createInstance(store.c_str())) {
    if (fenra_->error() != FENRA_NO_ERROR) {
      throw std::runtime_error("cannot open the store " + store);
    }
  }

  void add(const Article& article) override {
    if (fenra_->index(article.url.c_str(), article.text.c_str(), article.mime.c_str()) !=
        FENRA_NO_ERROR) {
      throw std::runtime_error("cannot store " + article.url);
    }
  }

  void commit() override {}  // index() returns when the article is on disk

  void search(const std::vector<std::string>& words, const Visit& visit) override {
    std::string query;
    for (const std::string& word : words) {
      query += word + ' ';
    }
    const std::unique_ptr<ResultIterator> results(fenra_->lookup(query.c_str()));
    while (const char* url = results->next()) {
      visit(url, strlen(url));
    }
  }

 private:
  std::unique_ptr<Fenra> fenra_;
};

// Instances go by the rules that a store was made with.
void make_store(const std::string& store, const std::string& rules) {
  ArticledbDb* const db = articledb_db_new();
  const bool made =
      db != nullptr && articledb_db_create_with_rules(db, store.c_str(), rules.c_str()) == 0;
  articledb_db_close(db);
  if (!made) {
    throw std::runtime_error("cannot make the store " + store);
  }
}

}  // namespace

std::unique_ptr<Engine> open_engine(const std::string& variant, const std::string& store,
                                    Access access, size_t) {
  if (access == Access::BUILD) {
    make_store(store, variant);
  }
  return std::make_unique<FenraEngine>(store);
}

}  // namespace bench
