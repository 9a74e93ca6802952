#include "cli/prune.h"
#include "articles/urls.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "cli/failure.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

using ostren::fenra::articles::escape_bars;

// All that were ever posted under the source, those of replaced articles too.
std::vector<uint64_t> ids_of_source(ArticledbDb* db, const std::string& source) {
  const Stream stream(articledb_db_source_lookup_generator_new(
      db, source.data(), static_cast<guint32>(source.size())));
  std::vector<uint64_t> ids;
  void* item = nullptr;
  int status = stream == nullptr ? 2 : 1;
  while (status == 1 && (status = ostren_generator_next(stream.get(), &item)) == 1) {
    ids.push_back(*static_cast<const guint64*>(item));
  }
  if (status == 2) {
    throw Failure("cannot read the articles of the source '" + source + "'; nothing is deleted");
  }
  return ids;
}

// The URLs of the articles of the source that have not been met.
std::vector<std::string> find_missing(ArticledbDb* db, const std::string& source, const Urls& met) {
  const std::string pair = "source=\"" + source + "\";";
  ArticleReader reader(db);
  std::vector<std::string> missing;
  for (const uint64_t id : ids_of_source(db, source)) {
    const std::optional<Article> article = reader.article(id);
    if (article && article->metadata.find(pair) != std::string::npos &&
        met.count(escape_bars(article->url)) == 0) {
      missing.push_back(article->url);
    }
  }
  return missing;
}

}  // namespace

void prune(ArticledbDb* db, const std::string& source, const Urls& met, Progress& progress) {
  progress.count_deleted();
  if (stop_requested()) {
    return progress.note("interrupted: no article of '" + source + "' is deleted");
  }
  if (progress.counts().refused != 0) {
    return progress.note("no article of '" + source +
                         "' is deleted, since some inputs were refused; once nothing is, call it "
                         "again");
  }
  for (const std::string& url : find_missing(db, source, met)) {
    if (stop_requested()) {
      return;
    }
    if (delete_article(db, url)) {
      progress.deleted();
    }
  }
}

}  // namespace cli
