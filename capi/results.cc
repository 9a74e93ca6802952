#include <fenra/articledb_query.h>

#include <optional>
#include <vector>

#include "articles/answer.h"
#include "articles/failure.h"
#include "articles/snippets.h"
#include "articles/title.h"
#include "capi/store.h"

namespace ostren::fenra::capi {
namespace {

namespace articles = ostren::fenra::articles;

articles::Page page_of(const fenra_page* page) {
  articles::Page result;
  if (page == nullptr) {
    return result;
  }
  switch (page->order) {
    case FENRA_ORDER_INDEXING:
      result.order = articles::Order::INDEXING;
      break;
    case FENRA_ORDER_NEWEST:
      result.order = articles::Order::NEWEST;
      break;
    case FENRA_ORDER_DATE:
      result.order = articles::Order::DATE;
      break;
    default:
      throw Outcome{FENRA_WRONG_CALL, "there is no order " + std::to_string(page->order) +
                                          "; see fenra_order for those that there are"};
  }
  result.after = page->after;
  result.limit = page->limit == 0 ? UINT64_MAX : page->limit;
  return result;
}

// What is handed out of an article.
struct Hit {
  articles::Found found;
  std::string date;
  std::string source;
  std::string mime;
  fenra_hit shown = {};

  void set(articles::Found next) {
    found = std::move(next);
    const articles::MetadataPairs pairs = articles::metadata_pairs(found.article.metadata);
    date = articles::value_of(pairs, "date");
    source = articles::value_of(pairs, "source");
    mime = articles::value_of(pairs, "mime");
    shown = {found.id, found.article.url.c_str(), date.c_str(), source.c_str(), mime.c_str()};
  }
};

struct SnippetText {
  std::string text;
  std::vector<fenra_range> matches;
  fenra_snippet_text shown = {};

  void set(const articles::Snippet& snippet) {
    text = snippet.text;
    matches.clear();
    for (const text::TextRange& match : snippet.matches) {
      matches.push_back({static_cast<uint32_t>(match.start), static_cast<uint32_t>(match.end)});
    }
    shown = {text.c_str(), text.size(), matches.data(), matches.size()};
  }
};

// What reads of the store, gone when that is closed. Ends in the order against this one.
struct Reading {
  articles::Query query;
  articles::ArticleReader reader;
  articles::Answer answer;
  std::optional<articles::Snippets> snippets = {};
  uint64_t text_id = 0;  // of the text, or 0
  std::string text = {};
};

Reading start(const SharedStore& shared, const char* text, const articles::Page& page) {
  articles::Query query = read_query(shared, text);
  articles::Stream stream(articledb_query_generator_new(query.get(), shared.db.get()));
  return {std::move(query), articles::ArticleReader(shared.db.get()),
          articles::Answer(shared.db.get(), std::move(stream), page)};
}

}  // namespace
}  // namespace ostren::fenra::capi

using namespace ostren::fenra::capi;

struct fenra_results final : Dependent {
  fenra_results(std::shared_ptr<SharedStore> store, const char* query, const articles::Page& page)
      : shared(std::move(store)), reading(start(*shared, query, page)) {
    shared->dependents.insert(this);
  }
  ~fenra_results() override { shared->dependents.erase(this); }
  fenra_results(const fenra_results&) = delete;
  fenra_results& operator=(const fenra_results&) = delete;

  void end() override { reading.reset(); }

  // Throws an Outcome when the article is there no more.
  const std::string& text_of(uint64_t id) {
    if (reading->text_id != id || id == 0) {
      std::optional<std::string> text = reading->reader.current_text(id);
      if (!text) {
        throw Outcome{FENRA_NOT_FOUND, "there is no article " + std::to_string(id) +
                                           " any more; it has been replaced or deleted"};
      }
      reading->text = *std::move(text);
      reading->text_id = id;
    }
    return reading->text;
  }

  const std::shared_ptr<SharedStore> shared;
  std::optional<Reading> reading;
  Hit hit;
  std::string title;
  SnippetText snippet;
};

fenra_status fenra_search(fenra_store* store, const char* query, const fenra_page* page,
                          fenra_results** results, fenra_error* error) {
  return guarded(error, [&] {
    cleared(results, "results");
    const std::shared_ptr<SharedStore>& shared = required(store, "store")->shared;
    const Use use(*shared);
    *results = new fenra_results(shared, query, page_of(page));
    return FENRA_OK;
  });
}

fenra_status fenra_next(fenra_results* results, const fenra_hit** hit, fenra_error* error) {
  return guarded(error, [&] {
    cleared(hit, "hit");
    const Use use(*required(results, "results")->shared);
    std::optional<articles::Found> found = results->reading->answer.next();
    if (!found) {
      return FENRA_END;
    }
    results->hit.set(*std::move(found));
    *hit = &results->hit.shown;
    return FENRA_OK;
  });
}

fenra_status fenra_title(fenra_results* results, uint64_t id, const char** title,
                         fenra_error* error) {
  return guarded(error, [&] {
    cleared(title, "title");
    const Use use(*required(results, "results")->shared);
    results->title = articles::title_of(results->text_of(id));
    *title = results->title.c_str();
    return FENRA_OK;
  });
}

fenra_status fenra_snippet(fenra_results* results, uint64_t id, const fenra_snippet_text** snippet,
                           fenra_error* error) {
  return guarded(error, [&] {
    cleared(snippet, "snippet");
    const Use use(*required(results, "results")->shared);
    Reading& reading = *results->reading;
    if (!reading.snippets) {
      reading.snippets.emplace(results->shared->db.get(), reading.query.get());
    }
    results->snippet.set(reading.snippets->of(results->text_of(id)));
    *snippet = &results->snippet.shown;
    return FENRA_OK;
  });
}

void fenra_results_free(fenra_results* results) {
  if (results == nullptr || !results->shared->maker.is_this_process()) {
    return;
  }
  const std::shared_ptr<SharedStore> shared = results->shared;
  const std::lock_guard<std::mutex> lock(shared->mutex);
  delete results;
}
