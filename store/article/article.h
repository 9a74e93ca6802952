// An article as it is handed to the store.
#ifndef FENRA_STORE_ARTICLE_ARTICLE_H
#define FENRA_STORE_ARTICLE_ARTICLE_H

#include <glib.h>

#include <memory>

namespace ostren::fenra::store {

// A string of the metadata with its length.
struct Text {
  const char* bytes = nullptr;
  guint32 length = 0;
};

// Borrows the strings of the metadata.
struct Article {
  Text source;
  Text url;
  Text date;
  Text lang;
  Text txt;
  guint32 raw_length = 0;

  // Nothing that is required is missing. An article without a URL is in no answer.
  bool complete() const {
    return source.bytes != nullptr && url.length != 0 && date.bytes != nullptr &&
           lang.bytes != nullptr && txt.bytes != nullptr && raw_length != 0;
  }

  // On disk: the key of the article's date.
  guint32 date_number() const;
};

Article article_read(GHashTable* metadata);

struct GlibReleaser {
  void operator()(void* block) const { g_free(block); }
};

struct TextRecord {
  std::unique_ptr<char, GlibReleaser> bytes;
  guint32 length = 0;
};

// On disk: the text's length, 4 bytes in the machine's order, and its zlib
// stream. Returns 0, -1 when memory is short, or zlib's code.
int build_text_record(const Text& text, TextRecord* record);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_ARTICLE_H
