// An open store, as what fenra_c.h gives out shares it.
#ifndef FENRA_CAPI_STORE_H
#define FENRA_CAPI_STORE_H

#include <fenra/fenra_c.h>

#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "articles/handles.h"
#include "articles/offered_article.h"
#include "capi/call.h"

namespace ostren::fenra::capi {

// What ends when its store is closed.
class Dependent {
 public:
  virtual ~Dependent() = default;
  // Lets go of everything that is of the store. Called with the store's mutex held.
  virtual void end() = 0;
};

struct SharedStore {
  const Maker maker;
  std::mutex mutex;  // guards the rest
  bool is_open = true;
  bool reads_only = false;
  articles::Lemmatizer lemmatizer;
  articles::Store db;
  const ArticledbRules* rules = nullptr;
  std::set<Dependent*> dependents;
};

// The use of a store by one call: throws an Outcome in a forked child and when it is closed.
class Use {
 public:
  explicit Use(SharedStore& store) : lock_((store.maker.check(), store.mutex)) {
    if (!store.is_open) {
      throw Outcome{FENRA_CLOSED, "the store is closed; open it again, and ask again"};
    }
  }

 private:
  const std::lock_guard<std::mutex> lock_;
};

// The embedded lexicon. What the process does once before many threads read articles is done too.
articles::Lemmatizer load_lexicon();

// The rules of that name, those of the web for null. Throws an Outcome for an unknown name.
const ArticledbRules& rules_named(const char* name);

// Throws an Outcome for null where there must not be any.
articles::Offer offer_of(const fenra_article* article);

// Throws an Outcome for a text that is no query.
articles::Query read_query(const SharedStore& store, const char* text);

}  // namespace ostren::fenra::capi

struct fenra_store {
  const std::shared_ptr<ostren::fenra::capi::SharedStore> shared;
};

#endif  // FENRA_CAPI_STORE_H
