#include "store/article/article.h"

#include <zlib.h>

#include <cstdlib>
#include <cstring>

namespace ostren::fenra::store {
namespace {

Text lookup_text(GHashTable* metadata, const char* key) {
  Text text;
  text.bytes = static_cast<const char*>(g_hash_table_lookup(metadata, key));
  text.length = text.bytes == nullptr ? 0 : static_cast<guint32>(strlen(text.bytes));
  return text;
}

}  // namespace

guint32 Article::date_number() const {
  return static_cast<guint32>(strtol(date.bytes, nullptr, 10));
}

Article article_read(GHashTable* metadata) {
  Article article;
  article.source = lookup_text(metadata, "source");
  article.url = lookup_text(metadata, "_url");
  article.date = lookup_text(metadata, "date");
  article.lang = lookup_text(metadata, "lang");
  article.txt = lookup_text(metadata, "_txt");
  article.raw_length = GPOINTER_TO_UINT(g_hash_table_lookup(metadata, "_length"));
  return article;
}

int build_text_record(const Text& text, TextRecord* record) {
  uLongf compressed = compressBound(text.length);
  record->bytes.reset(static_cast<char*>(g_try_malloc(sizeof text.length + compressed)));
  char* bytes = record->bytes.get();
  if (bytes == nullptr) {
    return -1;
  }
  memcpy(bytes, &text.length, sizeof text.length);
  const int ret = compress(reinterpret_cast<Bytef*>(bytes + sizeof text.length), &compressed,
                           reinterpret_cast<const Bytef*>(text.bytes), text.length);
  record->length = static_cast<guint32>(sizeof text.length + compressed);
  return ret;
}

}  // namespace ostren::fenra::store
