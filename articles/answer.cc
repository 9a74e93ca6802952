#include "articles/answer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "articles/failure.h"

namespace ostren::fenra::articles {
namespace {

using Ids = std::vector<uint64_t>;

// The ids greater than `after`.
Stream behind(Stream stream, uint64_t after) {
  if (after == 0) {
    return stream;
  }
  OstrenGenerator* rest =
      ostren_guint64_range_generator_new(after == UINT64_MAX ? after : after + 1, UINT64_MAX);
  return Stream(articledb_guint64_cutter_new(rest, stream.release()));
}

void check_pull(ArticledbDb* db, int status) {
  if (status == 2) {
    fail_reading(db, "the store failed while the answer was read");
  }
}

Ids all_ids(ArticledbDb* db, OstrenGenerator* stream) {
  Ids ids;
  void* item = nullptr;
  int status = 1;
  while ((status = ostren_generator_next(stream, &item)) == 1) {
    ids.push_back(*static_cast<const guint64*>(item));
  }
  check_pull(db, status);
  return ids;
}

// The newest of a date first.
Ids by_date(ArticleReader& reader, Ids ids) {
  std::vector<std::pair<uint64_t, uint64_t>> dated;
  for (const uint64_t id : ids) {
    if (const std::optional<Article> article = reader.article(id)) {
      dated.emplace_back(
          std::strtoull(value_of(metadata_pairs(article->metadata), "date").c_str(), nullptr, 10),
          id);
    }
  }
  std::sort(dated.rbegin(), dated.rend());
  ids.clear();
  std::transform(dated.begin(), dated.end(), std::back_inserter(ids),
                 [](const auto& entry) { return entry.second; });
  return ids;
}

// All ids, in the page's order, that come behind the one that is named.
Ids ordered_ids(ArticledbDb* db, ArticleReader& reader, OstrenGenerator* stream, const Page& page) {
  Ids ids = all_ids(db, stream);
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
      throw Failure(
          "article " + std::to_string(page.after) +
              " is not in the answer; in the order of dates begin behind the last one that "
              "was shown",
          ERANGE);
    }
    ids.erase(ids.begin(), found + 1);
  }
  return ids;
}

}  // namespace

Answer::Answer(ArticledbDb* db, Stream stream, const Page& page)
    : db_(db), reader_(db), stream_(std::move(stream)), left_(page.limit) {
  if (stream_ == nullptr) {
    fail_reading(db, "the lookup in the store failed");
  }
  if (page.order == Order::INDEXING) {
    stream_ = behind(std::move(stream_), page.after);
  } else {
    ids_ = ordered_ids(db, reader_, stream_.get(), page);
    stream_.reset();
  }
}

std::optional<uint64_t> Answer::next_id() {
  if (stream_ == nullptr) {
    return place_ < ids_.size() ? std::optional<uint64_t>(ids_[place_++]) : std::nullopt;
  }
  void* item = nullptr;
  const int status = ostren_generator_next(stream_.get(), &item);
  check_pull(db_, status);
  return status == 1 ? std::optional<uint64_t>(*static_cast<const guint64*>(item)) : std::nullopt;
}

std::optional<Found> Answer::next() {
  while (left_ > 0) {
    const std::optional<uint64_t> id = next_id();
    if (!id) {
      check_unchanged(db_);
      left_ = 0;
      break;
    }
    if (std::optional<Article> article = reader_.article(*id)) {
      --left_;
      return Found{*id, *std::move(article)};
    }
  }
  return std::nullopt;
}

}  // namespace ostren::fenra::articles
