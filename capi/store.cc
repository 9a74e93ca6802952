#include "capi/store.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "articles/failure.h"
#include "articles/opening.h"
#include "articles/rules.h"
#include "articles/urls.h"
#include "facade/lexicon_record.h"

namespace ostren::fenra::capi {
namespace {

constexpr unsigned kKnownFlags = FENRA_CREATE | FENRA_OPEN_READ_ONLY;

void check_flags(unsigned flags) {
  if ((flags & ~kKnownFlags) != 0 || flags == kKnownFlags) {
    throw Outcome{FENRA_WRONG_CALL,
                  "the flags " + std::to_string(flags) +
                      " have no sense: give 0, FENRA_CREATE or FENRA_OPEN_READ_ONLY"};
  }
}

void check_rules(const std::string& path, const ArticledbRules& rules, const char* wanted) {
  if (wanted != nullptr && strcmp(wanted, rules.name) != 0) {
    throw Outcome{FENRA_EXISTS, "the store '" + path + "' has the rules of words '" + rules.name +
                                    "', not '" + wanted + "'; name none to take those that it has"};
  }
}

articles::Store open_db(const std::string& path, unsigned flags, const char* rules) {
  if ((flags & FENRA_CREATE) != 0) {
    return articles::open_or_make(path, rules_named(rules).name);
  }
  if (!articles::has_database(path)) {
    std::error_code error;
    const bool is_there = std::filesystem::exists(path, error);
    throw Outcome{FENRA_NOT_FOUND,
                  "there is no store at '" + path +
                      "': " + (is_there ? "it has no file fenra.index" : "no such directory") +
                      "; name another place, or have one made with FENRA_CREATE"};
  }
  return (flags & FENRA_OPEN_READ_ONLY) != 0 ? articles::open_read_only(path)
                                             : articles::open_existing(path);
}

std::shared_ptr<SharedStore> open_store(const char* path, unsigned flags, const char* rules) {
  check_flags(flags);
  rules_named(rules);
  auto shared = std::make_shared<SharedStore>();
  shared->lemmatizer = load_lexicon();
  shared->reads_only = (flags & FENRA_OPEN_READ_ONLY) != 0;
  shared->db = open_db(required(path, "path"), flags, rules);
  shared->rules = &articles::rules_of(shared->db.get());
  check_rules(path, *shared->rules, rules);
  if (!shared->reads_only) {
    record_lexicon(path);
  }
  return shared;
}

void close(SharedStore& shared) {
  shared.maker.check();
  const std::lock_guard<std::mutex> lock(shared.mutex);
  shared.is_open = false;
  for (Dependent* dependent : shared.dependents) {
    dependent->end();
  }
  shared.dependents.clear();
  // The handle stays where that fails.
  articles::check(articledb_db_close(shared.db.get()), "cannot close the store");
  static_cast<void>(shared.db.release());
}

using Cursor = std::unique_ptr<ArticledbCursor, Releaser<articledb_cursor_close>>;

uint64_t count_articles(ArticledbDb* db) {
  ArticledbCursor* opened = nullptr;
  const int status = articledb_db_get_urls(db, &opened);
  const Cursor cursor(opened);
  articles::check(status, "cannot count the articles");
  guint64 id = 0;
  ArticledbBuffer key = {&id, sizeof(id), 0};
  uint64_t count = 0;
  int read = CURSOR_OK;
  while ((read = articledb_cursor_next_key(cursor.get(), &key)) == CURSOR_OK) {
    ++count;
  }
  articles::check(read == CURSOR_END ? 0 : read, "cannot count the articles");
  return count;
}

void index(SharedStore& shared, const articles::Offer& offer) {
  const articles::OfferedArticle article(offer, *shared.rules);
  articles::check(
      articledb_db_index(shared.db.get(), article.metadata(), shared.rules->next_token,
                         article.tokenizer(), shared.rules->first_lemma, shared.lemmatizer.get()),
      "the store failed at the article '" + offer.url + "'");
}

}  // namespace
}  // namespace ostren::fenra::capi

using namespace ostren::fenra::capi;

const char* fenra_version(void) { return FENRA_VERSION; }

fenra_status fenra_open(const char* path, unsigned flags, const char* rules, fenra_store** store,
                        fenra_error* error) {
  return guarded(error, [&] {
    cleared(store, "store");
    *store = new fenra_store{open_store(path, flags, rules)};
    return FENRA_OK;
  });
}

fenra_status fenra_close(fenra_store* store, fenra_error* error) {
  return guarded(error, [&] {
    if (store != nullptr) {
      close(*store->shared);
      delete store;
    }
    return FENRA_OK;
  });
}

fenra_status fenra_count(fenra_store* store, uint64_t* articles, fenra_error* error) {
  return guarded(error, [&] {
    *required(articles, "articles") = 0;
    SharedStore& shared = *required(store, "store")->shared;
    const Use use(shared);
    *articles = count_articles(shared.db.get());
    return FENRA_OK;
  });
}

fenra_status fenra_index(fenra_store* store, const fenra_article* article, fenra_error* error) {
  return guarded(error, [&] {
    SharedStore& shared = *required(store, "store")->shared;
    const Use use(shared);
    index(shared, offer_of(article));
    return FENRA_OK;
  });
}

fenra_status fenra_delete(fenra_store* store, const char* url, fenra_error* error) {
  return guarded(error, [&] {
    SharedStore& shared = *required(store, "store")->shared;
    const Use use(shared);
    if (!ostren::fenra::articles::delete_url(shared.db.get(), required(url, "url"))) {
      throw Outcome{FENRA_NOT_FOUND, "there is no article '" + std::string(url) + "'"};
    }
    return FENRA_OK;
  });
}
