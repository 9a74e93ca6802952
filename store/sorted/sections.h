// What is sorted of articles, for the databases: the sections of runs and segments, and their
// keys.
#ifndef FENRA_STORE_SORTED_SECTIONS_H
#define FENRA_STORE_SORTED_SECTIONS_H

#include <glib.h>

#include <string>
#include <string_view>

#include "store/articledb.h"

namespace ostren::fenra::store {

// On disk. Keys of hash databases come in the order of their buckets: in front of each stands
// bucket_order() of its hash, 4 bytes, the highest first.
namespace section {
enum : int {
  URLS,         // URL: ids
  SOURCES,      // source: ids
  DATES,        // date: ids
  FORMS,        // form: ids
  TRIGRAMS,     // trigram: ids, without the bucket order
  LEMMAS,       // lemma's length, 4 bytes, the highest first; lemma; form: nothing
  URL_RECORDS,  // id: URL record
  TEXTS,        // id: text record
  HIDDEN,       // id, 8 bytes, the highest first, without the bucket order: nothing
  COUNT
};
}  // namespace section

// What a database has in common with a section. Not for LEMMAS, HIDDEN and "iddb".
int section_of(DB* ArticledbDb::*field);

constexpr size_t BUCKET_ORDER_BYTES = 4;

constexpr bool has_ids(int section) { return section <= section::TRIGRAMS; }
constexpr bool has_records(int section) {
  return section == section::URL_RECORDS || section == section::TEXTS;
}
constexpr bool has_bucket_order(int section) {
  return section != section::TRIGRAMS && section != section::HIDDEN;
}

// The key of an entry, for a key as the databases have it. Not for LEMMAS and HIDDEN.
std::string entry_key(int section, std::string_view key);
void assign_entry_key(int section, std::string_view key, std::string* entry_key);

// The other way round. Throws Failed, EIO, where there is no room for a bucket order.
std::string_view database_key(int section, std::string_view entry_key);

// With what the keys of all entries of a lemma begin, and no others.
std::string lemma_prefix(std::string_view lemma);

// Takes an entry's key of section::LEMMAS apart. Throws Failed, EIO, for what is none.
struct LemmaKey {
  explicit LemmaKey(std::string_view entry_key);
  std::string_view lemma;
  std::string_view form;
};

// An entry's key of section::HIDDEN, and its id; the latter throws Failed, EIO.
std::string hidden_key(guint64 id);
guint64 hidden_id(std::string_view entry_key);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SECTIONS_H
