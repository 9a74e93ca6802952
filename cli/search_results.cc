#include "cli/search_results.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <vector>

#include "cli/failure.h"

namespace cli {
namespace {

using Ids = std::vector<uint64_t>;

Ids all_ids(OstrenGenerator* stream) {
  Ids ids;
  void* item = nullptr;
  int status = 1;
  while ((status = ostren_generator_next(stream, &item)) == 1) {
    ids.push_back(*static_cast<const guint64*>(item));
  }
  if (status == 2) {
    throw Failure("the store failed while the answer was read");
  }
  return ids;
}

// The ids greater than `after`.
Stream behind(Stream stream, uint64_t after) {
  if (after == 0) {
    return stream;
  }
  OstrenGenerator* rest =
      ostren_guint64_range_generator_new(after == UINT64_MAX ? after : after + 1, UINT64_MAX);
  return Stream(articledb_guint64_cutter_new(rest, stream.release()));
}

uint64_t date_of(const Article& article) {
  for (const auto& [key, value] : metadata_pairs(article.metadata)) {
    if (key == "date") {
      return std::strtoull(value.c_str(), nullptr, 10);
    }
  }
  return 0;
}

// The newest of a date first.
Ids by_date(ArticleReader& reader, Ids ids) {
  std::vector<std::pair<uint64_t, uint64_t>> dated;
  for (const uint64_t id : ids) {
    if (const std::optional<Article> article = reader.article(id)) {
      dated.emplace_back(date_of(*article), id);
    }
  }
  std::sort(dated.rbegin(), dated.rend());
  ids.clear();
  std::transform(dated.begin(), dated.end(), std::back_inserter(ids),
                 [](const auto& entry) { return entry.second; });
  return ids;
}

// All ids, in the page's order, that come behind the one that is named.
Ids ordered_ids(ArticleReader& reader, OstrenGenerator* stream, const Page& page) {
  Ids ids = all_ids(stream);
  if (page.order == Order::NEWEST) {
    std::reverse(ids.begin(), ids.end());
    if (page.after != 0) {
      ids.erase(ids.begin(),
                std::find_if(ids.begin(), ids.end(), [&](uint64_t id) { return id < page.after; }));
    }
    return ids;
  }
  ids = by_date(reader, std::move(ids));
  if (page.after != 0) {
    const auto found = std::find(ids.begin(), ids.end(), page.after);
    if (found == ids.end()) {
      throw Failure("--after: article " + std::to_string(page.after) +
                    " is not in the answer; with --sort date name the last one that was shown");
    }
    ids.erase(ids.begin(), found + 1);
  }
  return ids;
}

}  // namespace

void visit_articles(ArticledbDb* db, Stream stream, const Page& page,
                    const std::function<void(uint64_t, const Article&)>& visit) {
  if (stream == nullptr) {
    throw Failure("the lookup in the store failed");
  }
  if (page.order == Order::INDEXING) {
    each_article(db, behind(std::move(stream), page.after), page.limit, visit);
    return;
  }
  ArticleReader reader(db);
  uint64_t count = 0;
  for (const uint64_t id : ordered_ids(reader, stream.get(), page)) {
    const std::optional<Article> article = reader.article(id);
    if (article) {
      visit(id, *article);
      if (++count == page.limit) {
        break;
      }
    }
  }
}

}  // namespace cli
