#include "articles/article_reader.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "articles/failure.h"
#include "articles/urls.h"

namespace ostren::fenra::articles {
namespace {

// Whether what begins at `at` can stand behind a pair: another pair, or letters to the end.
bool can_follow_value(const std::string& metadata, size_t at) {
  const size_t key_end = metadata.find_first_not_of("abcdefghijklmnopqrstuvwxyz", at);
  return key_end == std::string::npos || metadata.compare(key_end, 2, "=\"") == 0;
}

[[noreturn]] void fail_record(uint64_t id, const std::string& reason) {
  throw Failure("the text of article " + std::to_string(id) + " " + reason);
}

}  // namespace

std::optional<std::string_view> ArticleReader::record(Lookup lookup, uint64_t id) {
  for (;;) {
    auto size = static_cast<guint32>(buffer_.size());
    const int status = lookup(db_, id, buffer_.data(), &size);
    if (status == 0) {
      return std::string_view(buffer_.data(), size);
    }
    if (status == STATUS_NOT_FOUND) {
      return std::nullopt;
    }
    if (status != STATUS_BUFFER_SMALL) {
      throw Failure("cannot read article " + std::to_string(id) + ": " + status_text(status),
                    status);
    }
    buffer_.resize(size);
  }
}

std::optional<Article> ArticleReader::article(uint64_t id) {
  const std::optional<std::string_view> found = record(articledb_db_lookup_id_to_url, id);
  if (!found) {
    return std::nullopt;
  }
  const size_t end = url_end(db_, *found, id);
  Article article;
  article.url = found->substr(0, end);
  article.metadata = found->substr(std::min(end + 1, found->size()));
  return article;
}

std::optional<std::string> ArticleReader::current_text(uint64_t id) {
  if (const std::optional<std::string_view> found = record(articledb_db_lookup_id_to_txt, id)) {
    return inflate_text(id, *found);
  }
  if (record(articledb_db_lookup_id_to_url, id)) {
    fail_record(id, "is missing");
  }
  return std::nullopt;
}

std::string ArticleReader::text(uint64_t id) {
  std::optional<std::string> text = current_text(id);
  if (!text) {
    fail_record(id, "is missing");
  }
  return *std::move(text);
}

std::vector<std::pair<std::string, std::string>> metadata_pairs(const std::string& metadata) {
  std::vector<std::pair<std::string, std::string>> pairs;
  size_t start = 0;
  while (start < metadata.size()) {
    const size_t open = metadata.find("=\"", start);
    if (open == std::string::npos) {
      pairs.emplace_back("", metadata.substr(start));
      break;
    }
    size_t close = metadata.find("\";", open + 2);
    while (close != std::string::npos && !can_follow_value(metadata, close + 2)) {
      close = metadata.find("\";", close + 1);
    }
    const bool ends = close != std::string::npos;
    pairs.emplace_back(metadata.substr(start, open - start),
                       metadata.substr(open + 2, ends ? close - open - 2 : close));
    start = ends ? close + 2 : metadata.size();
  }
  return pairs;
}

std::string inflate_text(uint64_t id, std::string_view record) {
  // Deflate shrinks at most 1,032 times, so a damaged length is found before
  // memory is asked for.
  constexpr uint64_t kMostShrinking = 1032;
  guint32 length = 0;
  if (record.size() < sizeof(length)) {
    fail_record(id, "is damaged: a record of " + std::to_string(record.size()) + " bytes");
  }
  std::memcpy(&length, record.data(), sizeof(length));
  const std::string_view stream = record.substr(sizeof(length));
  if (length > stream.size() * kMostShrinking) {
    fail_record(id, "is damaged: a length of " + std::to_string(length) + " bytes");
  }
  std::string text(length, '\0');
  uLongf inflated = length;
  const int status =
      uncompress(reinterpret_cast<Bytef*>(text.data()), &inflated,
                 reinterpret_cast<const Bytef*>(stream.data()), static_cast<uLong>(stream.size()));
  if (status != Z_OK || inflated != length) {
    fail_record(id, std::string("is damaged: ") + zError(status));
  }
  return text;
}

std::string value_of(const MetadataPairs& pairs, std::string_view key) {
  const auto found =
      std::find_if(pairs.begin(), pairs.end(), [&](const auto& pair) { return pair.first == key; });
  return found == pairs.end() ? "" : found->second;
}

}  // namespace ostren::fenra::articles
