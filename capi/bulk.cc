#include <cerrno>
#include <memory>
#include <mutex>
#include <string>

#include "articles/failure.h"
#include "articles/offered_article.h"
#include "capi/store.h"
#include "facade/lexicon_record.h"

namespace articles = ostren::fenra::articles;
using namespace ostren::fenra::capi;

struct fenra_bulk {
  fenra_bulk(const char* directory, const char* rules_name)
      : path(required(directory, "path")),
        rules(rules_named(rules_name)),
        lemmatizer(load_lexicon()) {
    ArticledbBulk* made = nullptr;
    const int status = articledb_bulk_new(&made, path.c_str(), 0);
    bulk.reset(made);
    articles::check(status, "cannot build a store at '" + path +
                                "', which has to be a new or an empty directory");
    articles::check(articledb_bulk_set_rules(made, rules.name), "cannot set the rules of words");
  }

  // Throws an Outcome or a failure.
  void add(const articles::Offer& offer) const {
    const articles::OfferedArticle article(offer, rules);
    ArticledbBulkArticle* prepared = nullptr;
    const int status =
        articledb_bulk_prepare(article.metadata(), rules.next_token, article.tokenizer(),
                               rules.first_lemma, lemmatizer.get(), &prepared);
    articles::BulkArticle owner(prepared);
    articles::check(status, "cannot read the article '" + offer.url + "'");
    articles::check(articledb_bulk_add(bulk.get(), owner.release(), nullptr),
                    "the build failed at the article '" + offer.url + "'");
  }

  void finish(fenra_progress progress, void* state) {
    if (is_finished) {
      throw Outcome{FENRA_WRONG_CALL, "the build of '" + path + "' is over; free it"};
    }
    is_finished = true;
    Callback callback = {progress, state};
    const int status = articledb_bulk_finish(
        bulk.get(), progress == nullptr ? nullptr : Callback::call, &callback);
    articles::check(status, "cannot write the store '" + path + "'");
    ostren::fenra::record_lexicon(path.c_str());
  }

  // guint64 is another type than uint64_t.
  struct Callback {
    fenra_progress progress;
    void* state;

    static int call(void* self, guint64 done, guint64 total) {
      const Callback& callback = *static_cast<const Callback*>(self);
      return callback.progress(callback.state, done, total);
    }
  };

  const Maker maker;
  std::mutex mutex;
  const std::string path;
  const ArticledbRules& rules;
  const articles::Lemmatizer lemmatizer;
  articles::Bulk bulk;
  bool is_finished = false;
};

fenra_status fenra_bulk_open(const char* path, const char* rules, fenra_bulk** bulk,
                             fenra_error* error) {
  return guarded(error, [&] {
    cleared(bulk, "bulk");
    *bulk = new fenra_bulk(path, rules);
    return FENRA_OK;
  });
}

fenra_status fenra_bulk_add(fenra_bulk* bulk, const fenra_article* article, fenra_error* error) {
  return guarded(error, [&] {
    required(bulk, "bulk")->maker.check();
    const std::lock_guard<std::mutex> lock(bulk->mutex);
    bulk->add(offer_of(article));
    return FENRA_OK;
  });
}

fenra_status fenra_bulk_finish(fenra_bulk* bulk, fenra_progress progress, void* state,
                               fenra_error* error) {
  return guarded(error, [&] {
    required(bulk, "bulk")->maker.check();
    const std::lock_guard<std::mutex> lock(bulk->mutex);
    bulk->finish(progress, state);
    return FENRA_OK;
  });
}

void fenra_bulk_free(fenra_bulk* bulk) {
  if (bulk != nullptr && bulk->maker.is_this_process()) {
    delete bulk;
  }
}
