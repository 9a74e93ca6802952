// fenra, through its classes: index() for every article, lookup() for every query.
// Its cache is set by the DB_CONFIG file of the store. The variants are rules of words, and
//   language   an existing store is asked in the query language
#include <fenra/articledb_query.h>
#include <fenra/fenra.h>

#include <stdexcept>

#include "bench/engine.h"

namespace bench {
namespace {

using ostren::fenra::Fenra;
using ostren::fenra::FENRA_NO_ERROR;
using ostren::fenra::FenraData;
using ostren::fenra::ResultIterator;
using ostren::fenra::ResultIteratorBasic;
using ostren::fenra::TmpFile;

void visit_urls(ResultIterator& results, size_t most, const Engine::Visit& visit) {
  for (const char* url = nullptr; most > 0 && (url = results.next()) != nullptr; --most) {
    visit(url, strlen(url));
  }
}

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

  void search(const Query& query, const Visit& visit) override {
    std::string line;
    for (const std::string& word : query.words) {
      line += word + ' ';
    }
    const std::unique_ptr<ResultIterator> results(fenra_->lookup(line.c_str()));
    visit_urls(*results, query.most_answers, visit);
  }

 private:
  std::unique_ptr<Fenra> fenra_;
};

class LanguageEngine : public Engine {
 public:
  explicit LanguageEngine(const std::string& store)
      : data_(new FenraData(store.c_str(), TmpFile(fstContent, fstContentSize).name())) {
    data_->incRef();
    if (data_->error() != FENRA_NO_ERROR) {
      throw std::runtime_error("cannot open the store " + store);
    }
  }

  void add(const Article&) override { throw std::runtime_error("the store is only asked"); }
  void commit() override {}

  void search(const Query& query, const Visit& visit) override {
    ArticledbQuery* parsed = nullptr;
    ArticledbQueryError error = {};
    if (articledb_query_parse(query.line.data(), static_cast<guint32>(query.line.size()),
                              data_->rules, data_->lemmatizer, &parsed, &error) != 0) {
      throw std::runtime_error(query.line + ": " + error.reason);
    }
    const std::unique_ptr<ArticledbQuery, decltype(&articledb_query_free)> owner(
        parsed, articledb_query_free);
    OstrenGenerator* const ids = articledb_query_generator_new(parsed, data_->db);
    if (ids == nullptr) {
      throw std::runtime_error("the store failed at " + query.line);
    }
    ResultIteratorBasic results(ids, data_.get());
    visit_urls(results, query.most_answers, visit);
  }

 private:
  struct Release {
    void operator()(FenraData* data) const { data->decRef(); }
  };

  std::unique_ptr<FenraData, Release> data_;
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
  if (variant == "language") {
    return std::make_unique<LanguageEngine>(store);
  }
  if (access == Access::BUILD || access == Access::GROW) {
    make_store(store, variant);
  }
  return std::make_unique<FenraEngine>(store);
}

}  // namespace bench
