// Articles out of a store: URL, metadata and text.
#ifndef FENRA_ARTICLES_ARTICLE_READER_H
#define FENRA_ARTICLES_ARTICLE_READER_H

#include <fenra/articledb.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostren::fenra::articles {

// The URL record of an article taken apart.
struct Article {
  std::string url;
  // The pairs behind the URL, as they were packed: key="value"; and so on.
  std::string metadata;
};

// The pairs of packed metadata. Values are stored unescaped; a value ends at the
// first `";` that the end or another pair follows. What is left without being a pair
// comes last, with an empty key.
using MetadataPairs = std::vector<std::pair<std::string, std::string>>;
MetadataPairs metadata_pairs(const std::string& metadata);

// The value of the first pair with the key; empty when there is none.
std::string value_of(const MetadataPairs& pairs, std::string_view key);

// Inflates a text record. Throws Failure when it is damaged.
std::string inflate_text(uint64_t id, std::string_view record);

// Reads records by article id, whatever their length.
class ArticleReader {
 public:
  explicit ArticleReader(ArticledbDb* db) : db_(db) {}

  // Nothing when the article has been replaced. Throws Failure when the store
  // fails, and when it cannot be told where the URL ends.
  std::optional<Article> article(uint64_t id);

  // The article's plain text. Throws Failure when the record is missing or
  // damaged, too.
  std::string text(uint64_t id);

  // As text(), of an article that has just been found; nothing when it has been replaced
  // since.
  std::optional<std::string> current_text(uint64_t id);

 private:
  using Lookup = int (*)(ArticledbDb*, guint64, void*, guint32*);

  // The bytes of a record, valid until the next read, or nothing when the id has
  // no such record.
  std::optional<std::string_view> record(Lookup lookup, uint64_t id);

  ArticledbDb* db_;
  std::vector<char> buffer_ = std::vector<char>(4096);
};

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_ARTICLE_READER_H
