#include "cli/store_indexer.h"

#include <optional>

#include "cli/failure.h"
#include "cli/store.h"

namespace cli {
namespace {

void check(int status, const InputArticle& article) {
  if (status != 0) {
    throw Failure("the store failed at " + article.input().name + ": " + status_text(status));
  }
}

// The metadata, with another date. Borrows all of it.
Metadata with_date(GHashTable* metadata, const std::string& date) {
  Metadata copy(g_hash_table_new(g_str_hash, g_str_equal));
  g_hash_table_foreach(
      metadata,
      [](void* key, void* value, void* to) {
        g_hash_table_insert(static_cast<GHashTable*>(to), key, value);
      },
      copy.get());
  // The table takes what it only reads as non-const.
  g_hash_table_insert(copy.get(), const_cast<char*>("date"), const_cast<char*>(date.c_str()));
  return copy;
}

}  // namespace

StoreIndexer::StoreIndexer(ArticledbDb* db, void* lemmatizer, bool skip_unchanged,
                           Progress& progress)
    : db_(db),
      rules_(rules_of(db)),
      lemmatizer_(lemmatizer),
      skip_unchanged_(skip_unchanged),
      progress_(progress) {
  if (skip_unchanged) {
    progress.count_unchanged();
  }
}

void StoreIndexer::add(const Input& input) {
  if (!input.skipped.empty()) {
    return progress_.skipped(input.skipped);
  }
  std::optional<InputArticle> article;
  try {
    article.emplace(input, rules_);
  } catch (const Refused& refused) {
    return progress_.refused(input.name, refused.reason);
  }
  if (skip_unchanged_ && is_unchanged(*article)) {
    return progress_.unchanged();
  }
  index(*article);
}

bool StoreIndexer::is_unchanged(const InputArticle& article) const {
  const std::string text = article.offered().text();
  // The article's own are for indexing.
  const Tokens tokens = tokens_of(rules_, text);
  // A page that is looked at again keeps its date while it stays as it is.
  const std::string date =
      article.input().dated_by_visit ? shown_date(article.offered().url()) : article.input().date;
  const Metadata metadata = with_date(article.offered().metadata(), date);
  int unchanged = 0;
  check(articledb_db_is_unchanged(db_, metadata.get(), rules_.next_token, tokens.get(), &unchanged),
        article);
  return unchanged != 0;
}

// The date of the article that the URL shows; empty when it shows none.
std::string StoreIndexer::shown_date(const std::string& url) const {
  const std::optional<uint64_t> id = ostren::fenra::articles::shown_id(db_, url);
  const std::optional<Article> shown = id ? ArticleReader(db_).article(*id) : std::nullopt;
  return shown ? value_of(metadata_pairs(shown->metadata), "date") : "";
}

void StoreIndexer::index(const InputArticle& article) {
  check(articledb_db_index(db_, article.offered().metadata(), rules_.next_token,
                           article.offered().tokenizer(), rules_.first_lemma, lemmatizer_),
        article);
  progress_.indexed(article.bytes());
}

}  // namespace cli
