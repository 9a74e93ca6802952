// The stored text of an article.
#ifndef FENRA_STORE_READING_ARTICLE_TEXT_H
#define FENRA_STORE_READING_ARTICLE_TEXT_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "store/articledb.h"

namespace ostren::fenra::store {

// Inflates a text record into `text`. Null, or why it cannot be: a phrase for people that is
// constant. Throws std::bad_alloc.
const char* inflate_text(std::string_view record, std::string* text);

// Reads one text after the other, with its memory kept.
class TextReader {
 public:
  explicit TextReader(ArticledbDb* db) : db_(db) {}

  // 0, and the text in text(); STATUS_NOT_FOUND for an article that has been replaced; EPROTO
  // for a record that is damaged; or a code of the store's. Throws std::bad_alloc.
  int read(guint64 id);

  // Valid until the next reading.
  const std::string& text() const { return text_; }

 private:
  ArticledbDb* const db_;
  std::vector<char> record_ = std::vector<char>(4096);
  std::string text_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_READING_ARTICLE_TEXT_H
