// The distinct forms of some articles of the journal, numbered so that postings can be sorted
// as numbers.
#ifndef FENRA_STORE_WRITING_JOURNAL_VOCABULARY_H
#define FENRA_STORE_WRITING_JOURNAL_VOCABULARY_H

#include <glib.h>

#include <string_view>
#include <vector>

#include "store/waiting/journal_article.h"

namespace ostren::fenra::store {

class JournalVocabulary {
 public:
  // Borrows the articles. Sorts: no choice of words makes that take long. Throws
  // std::bad_alloc.
  explicit JournalVocabulary(const std::vector<JournalArticle>& articles);

  // A word's rank is its place in byte order. Of each form of an article, by its number.
  const guint32* ranks(guint32 article) const { return &ranks_[first_of_[article]]; }
  std::string_view word(guint32 rank) const { return words_[rank]; }

  // Its place in the order of the buckets of a hash database.
  guint32 bucket_place(guint32 rank) const { return bucket_places_[rank]; }
  guint32 rank_at(guint32 bucket_place) const { return in_bucket_order_[bucket_place]; }

 private:
  std::vector<size_t> first_of_;  // by article: the place of its first form in ranks_
  std::vector<guint32> ranks_;
  std::vector<std::string_view> words_;
  std::vector<guint32> bucket_places_;
  std::vector<guint32> in_bucket_order_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_VOCABULARY_H
