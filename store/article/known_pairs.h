// The (lemma, form) pairs that a store handle knows to be on disk. Such pairs are never
// removed from a store, so neither other processes nor a recovery make this untrue.
#ifndef FENRA_STORE_ARTICLE_KNOWN_PAIRS_H
#define FENRA_STORE_ARTICLE_KNOWN_PAIRS_H

#include <string>
#include <string_view>
#include <utility>

#include "base/string_table.h"
#include "base/varint.h"

namespace ostren::fenra::store {

// Forgets the pairs that have not been met for the longest time.
class KnownPairs {
 public:
  bool contains(std::string_view lemma, std::string_view form) {
    const std::string_view pair = together(lemma, form);
    if (recent_.contains(pair)) {
      return true;
    }
    if (!earlier_.contains(pair)) {
      return false;
    }
    add(lemma, form);
    return true;
  }

  void add(std::string_view lemma, std::string_view form) {
    if (recent_.bytes() > HALF_BYTES) {
      std::swap(recent_, earlier_);
      recent_.clear();
    }
    recent_.number(together(lemma, form));
  }

 private:
  static constexpr size_t HALF_BYTES = size_t{2} << 20;

  std::string_view together(std::string_view lemma, std::string_view form) {
    pair_.clear();
    append_varint(lemma.size(), &pair_);
    return pair_.append(lemma).append(form);
  }

  StringTable recent_;
  StringTable earlier_;
  std::string pair_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_KNOWN_PAIRS_H
