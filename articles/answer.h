// The articles of an answer, in the order that was asked for.
#ifndef FENRA_ARTICLES_ANSWER_H
#define FENRA_ARTICLES_ANSWER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "articles/article_reader.h"
#include "articles/handles.h"

namespace ostren::fenra::articles {

enum class Order {
  INDEXING,  // ascending ids; articles are read while they are shown
  NEWEST,    // descending ids
  DATE       // the latest first, among those of a day the newest, and at the end those without
};

struct Page {
  Order order = Order::INDEXING;
  uint64_t after = 0;  // the id of the article that is before it in the order; 0: from the first
  uint64_t limit = UINT64_MAX;
};

struct Found {
  uint64_t id = 0;
  Article article;
};

class Answer {
 public:
  // The articles of a stream; borrows the store. Throws Failure when the stream is null or fails,
  // and for an `after` that is not in the answer.
  Answer(ArticledbDb* db, Stream stream, const Page& page);

  // The next article; replaced ones are left out. Nothing at the end, and ever after. Throws
  // Failure.
  std::optional<Found> next();

 private:
  std::optional<uint64_t> next_id();

  ArticledbDb* db_;
  ArticleReader reader_;
  Stream stream_;  // null where ids_ has all of the answer
  std::vector<uint64_t> ids_;
  size_t place_ = 0;  // in ids_
  uint64_t left_;
};

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_ANSWER_H
