#include "store/articledb_bulk.h"

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

#include "base/failed.h"
#include "store/bulk/article_sorter.h"
#include "store/bulk/build_directory.h"
#include "store/bulk/prepared_article.h"
#include "store/bulk/store_compaction.h"
#include "store/bulk/store_filling.h"
#include "store/bulk/store_writer.h"
#include "store/rules_record.h"

using namespace ostren::fenra;
using namespace ostren::fenra::store;

namespace {

size_t memory_or_default(guint64 memory) { return memory == 0 ? ARTICLEDB_BULK_MEMORY : memory; }

}  // namespace

struct ArticledbBulkArticle {
  std::unique_ptr<PreparedArticle> prepared;
};

struct ArticledbBulk {
  ArticledbBulk(const std::string& target, size_t memory_)
      : directory(target), memory(memory_), sorter(directory.path(), memory_) {}

  BuildDirectory directory;
  const size_t memory;
  ArticleSorter sorter;
  guint64 last_id = 0;
  std::string_view rules;  // their name; empty for plain ones
  int status = 0;          // of the build so far
};

int articledb_bulk_new(ArticledbBulk** bulk, const char* path, guint64 memory) {
  if (path == nullptr) {
    return EINVAL;
  }
  return status_of([&] {
    const std::string target = absolute_path(path);
    require_free(target);
    *bulk = new ArticledbBulk(target, memory_or_default(memory));
  });
}

int articledb_bulk_set_rules(ArticledbBulk* bulk, const char* rules) {
  const ArticledbRules* const known = articledb_rules_by_name(rules);
  if (known == nullptr) {
    return EINVAL;
  }
  bulk->rules = is_plain(*known) ? "" : known->name;
  return 0;
}

int articledb_bulk_prepare(GHashTable* metadata, ArticledbNextTokenFunc next_token, void* tokenizer,
                           ArticledbLemmatizerFunc lemmatize, void* lemmatizer,
                           ArticledbBulkArticle** article) {
  *article = nullptr;
  int ret = 0;
  const int failure = status_of([&] {
    auto made = std::make_unique<ArticledbBulkArticle>();
    const WordSource source = {next_token, tokenizer, lemmatize, lemmatizer,
                               WordSource::Asking::ONCE_A_FORM};
    ret = prepare_article(metadata, source, &made->prepared);
    if (made->prepared != nullptr) {
      *article = made.release();
    }
  });
  return failure != 0 ? failure : ret;
}

void articledb_bulk_article_free(ArticledbBulkArticle* article) { delete article; }

int articledb_bulk_add(ArticledbBulk* bulk, ArticledbBulkArticle* article, guint64* id) {
  if (article == nullptr) {
    return EINVAL;
  }
  const std::unique_ptr<ArticledbBulkArticle> taken(article);
  if (bulk->status == 0) {
    bulk->status = status_of([&] {
      bulk->sorter.add(std::move(taken->prepared), bulk->last_id + 1);
      ++bulk->last_id;
    });
  }
  if (bulk->status == 0 && id != nullptr) {
    *id = bulk->last_id;
  }
  return bulk->status;
}

int articledb_bulk_finish(ArticledbBulk* bulk, ArticledbBulkProgressFunc progress, void* state) {
  if (bulk->status != 0) {
    return bulk->status;
  }
  const int ret = status_of([&] {
    const auto& runs = bulk->sorter.finish();
    WorkMeter meter(progress, state);
    StoreWriter writer(bulk->directory.path(), cache_bytes(bulk->memory));
    fill_store(runs, bulk->last_id, bulk->rules, &writer, &meter);
    writer.finish();
    bulk->directory.become_target();
  });
  // There is no second try, nor a second store.
  bulk->status = ret != 0 ? ret : EEXIST;
  return ret;
}

void articledb_bulk_free(ArticledbBulk* bulk) { delete bulk; }

int articledb_bulk_compact(const char* path, guint64 memory, ArticledbBulkProgressFunc progress,
                           void* state) {
  if (path == nullptr) {
    return EINVAL;
  }
  return status_of([&] {
    WorkMeter meter(progress, state);
    compact_store(absolute_path(path), cache_bytes(memory_or_default(memory)), &meter);
  });
}
