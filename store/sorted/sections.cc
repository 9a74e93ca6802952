#include "store/sorted/sections.h"

#include <cstring>

#include "base/failed.h"
#include "store/layout/key_order.h"

namespace ostren::fenra::store {
namespace {

void append_big_endian(guint32 number, std::string* bytes) {
  const guint32 ordered = GUINT32_TO_BE(number);
  bytes->append(reinterpret_cast<const char*>(&ordered), sizeof ordered);
}

}  // namespace

int section_of(DB* ArticledbDb::*field) {
  return field == &ArticledbDb::formdb      ? section::FORMS
         : field == &ArticledbDb::sourcedb  ? section::SOURCES
         : field == &ArticledbDb::datedb    ? section::DATES
         : field == &ArticledbDb::trigramdb ? section::TRIGRAMS
         : field == &ArticledbDb::urlidx    ? section::URLS
         : field == &ArticledbDb::urldb     ? section::URL_RECORDS
                                            : section::TEXTS;
}

void assign_entry_key(int section, std::string_view key, std::string* entry_key) {
  entry_key->clear();
  if (has_bucket_order(section)) {
    append_big_endian(bucket_order(word_hash(key)), entry_key);
  }
  entry_key->append(key);
}

std::string entry_key(int section, std::string_view key) {
  std::string made;
  assign_entry_key(section, key, &made);
  return made;
}

std::string_view database_key(int section, std::string_view entry_key) {
  if (!has_bucket_order(section)) {
    return entry_key;
  }
  require(entry_key.size() < BUCKET_ORDER_BYTES ? EIO : 0);
  return entry_key.substr(BUCKET_ORDER_BYTES);
}

std::string lemma_prefix(std::string_view lemma) {
  std::string key;
  append_big_endian(bucket_order(word_hash(lemma)), &key);
  append_big_endian(static_cast<guint32>(lemma.size()), &key);
  return key.append(lemma);
}

LemmaKey::LemmaKey(std::string_view entry_key) {
  guint32 length = 0;
  constexpr size_t HEAD_BYTES = BUCKET_ORDER_BYTES + sizeof length;
  require(entry_key.size() < HEAD_BYTES ? EIO : 0);
  memcpy(&length, entry_key.data() + BUCKET_ORDER_BYTES, sizeof length);
  entry_key.remove_prefix(HEAD_BYTES);
  length = GUINT32_FROM_BE(length);
  require(length > entry_key.size() ? EIO : 0);
  lemma = entry_key.substr(0, length);
  form = entry_key.substr(length);
}

std::string hidden_key(guint64 id) {
  const guint64 ordered = GUINT64_TO_BE(id);
  return {reinterpret_cast<const char*>(&ordered), sizeof ordered};
}

guint64 hidden_id(std::string_view entry_key) {
  guint64 ordered = 0;
  require(entry_key.size() != sizeof ordered ? EIO : 0);
  memcpy(&ordered, entry_key.data(), sizeof ordered);
  return GUINT64_FROM_BE(ordered);
}

}  // namespace ostren::fenra::store
