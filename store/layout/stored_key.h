// The bytes that stand for a string in the hash databases.
#ifndef FENRA_STORE_LAYOUT_STORED_KEY_H
#define FENRA_STORE_LAYOUT_STORED_KEY_H

#include <glib.h>

#include <string_view>

#include "store/articledb.h"

namespace ostren::fenra::store {

// On disk: the longest string that is stored as it is.
//
// Berkeley DB puts a key, or an item among duplicates, of more than a quarter of a page on
// pages of its own. Its hash databases cannot be trusted with such keys: one that gets
// duplicates again and again damages pages, and others of the same bucket.
constexpr size_t MOST_STORED_BYTES = 1000;

// On disk: what a longer one keeps of its beginning.
constexpr size_t STORED_BEGINNING_BYTES = ARTICLEDB_MOST_PREFIX_BYTES;

// Stands for a word, a lemma, a URL or a source as key, and for a word form as data item of
// "lemmadb": the string itself, or of a longer one its beginning and the digest of all of it.
// Every writer and every lookup goes through this; what is in the databases already stands
// for itself.
class StoredKey {
 public:
  // Borrows the string.
  explicit StoredKey(std::string_view string);
  StoredKey(const StoredKey&) = delete;
  StoredKey& operator=(const StoredKey&) = delete;

  std::string_view bytes() const { return bytes_; }

 private:
  // On disk: the beginning, 0xff, which is in no text, and SHA-256 in hexadecimal digits.
  static constexpr size_t DIGEST_BYTES = 64;

  std::string_view bytes_;
  char short_one_[STORED_BEGINNING_BYTES + 1 + DIGEST_BYTES];
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_STORED_KEY_H
