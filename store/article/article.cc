#include "store/article/article.h"

#include <zlib.h>

#include <cstdlib>
#include <cstring>

namespace ostren::fenra::store {
namespace {

const char* lookup(GHashTable* metadata, const char* key) {
  return static_cast<const char*>(g_hash_table_lookup(metadata, key));
}

// A missing value is one without address.
std::string_view lookup_string(GHashTable* metadata, const char* key) {
  const char* const value = lookup(metadata, key);
  return value == nullptr ? std::string_view() : std::string_view(value);
}

}  // namespace

Article::Article(GHashTable* metadata)
    : metadata_(metadata),
      date_(lookup(metadata, "date")),
      lang_(lookup(metadata, "lang")),
      raw_length_(GPOINTER_TO_UINT(g_hash_table_lookup(metadata, "_length"))),
      text_(lookup_string(metadata, "_txt")) {
  records_.url = lookup_string(metadata, "_url");
  records_.source = lookup_string(metadata, "source");
}

int Article::build_records() {
  const int ret = build_keys();
  return ret != 0 ? ret : build_text_record();
}

int Article::build_keys() {
  const bool complete = !records_.url.empty() && records_.source.data() != nullptr &&
                        text_.data() != nullptr && date_ != nullptr && lang_ != nullptr &&
                        raw_length_ != 0;
  if (!complete) {
    return STATUS_MISSING_METADATA;
  }
  records_.date = static_cast<guint32>(strtol(date_, nullptr, 10));
  url_record_.reset(articledb_pack_url_with_metadata(records_.url.data(), metadata_));
  records_.url_record = url_record_.get();
  return 0;
}

int Article::build_text_record() {
  const guint32 length = text_length();
  uLongf compressed = compressBound(length);
  text_record_.reset(static_cast<char*>(g_try_malloc(sizeof length + compressed)));
  char* const bytes = text_record_.get();
  if (bytes == nullptr) {
    return -1;
  }
  memcpy(bytes, &length, sizeof length);
  const int ret = compress(reinterpret_cast<Bytef*>(bytes + sizeof length), &compressed,
                           reinterpret_cast<const Bytef*>(text_.data()), length);
  records_.text_record = {bytes, sizeof length + compressed};
  return ret;
}

}  // namespace ostren::fenra::store
