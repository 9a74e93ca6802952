// An article as the caller hands it over: what the store writes of it beside its terms.
#ifndef FENRA_STORE_ARTICLE_ARTICLE_H
#define FENRA_STORE_ARTICLE_ARTICLE_H

#include <glib.h>

#include <string_view>

#include "base/handles.h"
#include "store/articledb.h"

namespace ostren::fenra::store {

// The records by which an article is shown, and the keys by which it is found beside its
// words. Borrows what it points to.
struct ArticleRecords {
  std::string_view url;     // not yet the key in "urlidx", which is its StoredKey
  std::string_view source;  // the same of "sourcedb"
  guint32 date = 0;         // on disk: the key in "datedb"
  std::string_view url_record;
  // On disk: the text's length, 4 bytes in the machine's order, and its zlib stream.
  std::string_view text_record;
};

class Article {
 public:
  // Borrows the strings of the metadata.
  explicit Article(GHashTable* metadata);

  // The caller's "_length".
  guint32 raw_length() const { return raw_length_; }
  guint32 text_length() const { return static_cast<guint32>(text_.size()); }

  // Builds the records. Returns 0; STATUS_MISSING_METADATA when a value is missing, or the
  // URL empty, with which the article would be in no answer; -1 when memory is short; or
  // zlib's code.
  int build_records();

  // The same, but for the text record.
  int build_keys();

  std::string_view text() const { return text_; }

  // Valid as long as this and the metadata.
  const ArticleRecords& records() const { return records_; }

 private:
  int build_text_record();

  GHashTable* const metadata_;
  const char* const date_;
  const char* const lang_;
  const guint32 raw_length_;
  std::string_view text_;
  ArticleRecords records_;
  GMemory<char> url_record_;
  GMemory<char> text_record_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_ARTICLE_H
