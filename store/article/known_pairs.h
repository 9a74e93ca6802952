// The (lemma, form) pairs that a store handle knows to be on disk. Such pairs are never
// removed from a store, so neither other processes nor a recovery make this untrue.
#ifndef FENRA_STORE_ARTICLE_KNOWN_PAIRS_H
#define FENRA_STORE_ARTICLE_KNOWN_PAIRS_H

#include <string_view>

#include "base/string_set.h"
#include "store/articledb.h"

// Forgets the pairs that have not been met for the longest time.
struct ArticledbKnownPairs {
 public:
  // A pair as one string.
  bool contains(std::string_view pair) {
    if (recent_.contains(pair)) {
      return true;
    }
    if (!earlier_.contains(pair)) {
      return false;
    }
    add(pair);
    return true;
  }

  void add(std::string_view pair) {
    if (recent_.bytes() > HALF_BYTES) {
      std::swap(recent_, earlier_);
      recent_.clear();
    }
    recent_.add(pair);
  }

 private:
  static constexpr size_t HALF_BYTES = 1 << 20;

  ostren::fenra::StringSet recent_;
  ostren::fenra::StringSet earlier_;
};

#endif  // FENRA_STORE_ARTICLE_KNOWN_PAIRS_H
