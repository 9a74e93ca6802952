// What articles write into the databases, collected in memory and sorted.
#ifndef FENRA_STORE_SORTED_ARTICLE_ENTRIES_H
#define FENRA_STORE_SORTED_ARTICLE_ENTRIES_H

#include <glib.h>

#include <string_view>
#include <vector>

#include "base/growing_array.h"
#include "base/pair_set.h"
#include "base/string_table.h"
#include "store/article/article_terms.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

// All of it throws Failed and std::bad_alloc, and is of no use then.
class ArticleEntries {
 public:
  // Strings are StoredKeys where they become keys.
  struct Article {
    guint64 id = 0;
    std::string_view url;  // empty: the article has no keys
    std::string_view source;
    guint32 date = 0;
    std::string_view url_record;   // empty: it has none
    std::string_view text_record;  // empty: it has none
  };

  // Takes the next article in, whose id is above that of the one before. Its records are
  // borrowed until write().
  void add(const Article& article);

  // Words of the article that was added last: all that the terms have, or forms with a sequence
  // as ArticleTerms::sequence, of places among them, and lemma pairs.
  void add_terms(const ArticleTerms& terms);
  void add_words(const std::vector<std::string_view>& forms, const std::vector<guint32>& sequence);
  void add_lemma(std::string_view lemma, std::string_view form) {
    lemmas_.insert({words_.number(lemma), words_.number(form)});
  }

  // The records of an article with a lower id than the one that was added last hold no longer.
  void hide(guint64 id) { hidden_.push_back(id); }

  // Gives the only article another id.
  void set_only_id(guint64 id) { first_id_ = last_id_ = id; }

  bool is_empty() const { return last_id_ == 0; }

  // Of the first article and the last one.
  guint64 first_id() const { return first_id_; }
  guint64 last_id() const { return last_id_; }

  // Memory in use, and to be used by write().
  size_t bytes() const;

  // Writes all sections, and gives the memory back. The records of articles that have been
  // hidden are left out, and among hidden ids those from the first article's on.
  void write(SortedWriter* writer);

 private:
  // Articles are counted from first_id_.
  struct Posting {
    guint32 word;
    guint32 article;
  };
  struct Trigram {
    guint32 words[TRIGRAM_BUILDER_WORDS];
    guint32 article;
  };
  struct Records {
    guint32 article;
    std::string_view url_record;
    std::string_view text_record;
  };
  using Postings = GrowingArray<Posting>;
  using Numbers = GrowingArray<guint32>;

  void take_sequence(const std::vector<guint32>& sequence);

  Numbers words_in_byte_order() const;
  Numbers words_in_bucket_order() const;
  void write_postings(const Postings& postings, const Numbers& in_order, int section,
                      SortedWriter* writer) const;
  void write_trigrams(SortedWriter* writer);
  void write_lemmas(SortedWriter* writer) const;
  void write_records(std::string_view Records::*record, SortedWriter* writer) const;
  void write_hidden(SortedWriter* writer) const;

  guint64 first_id_ = 0;
  guint64 last_id_ = 0;
  guint32 article_ = 0;  // the last one
  StringTable words_;
  Postings urls_;
  Postings sources_;
  Postings dates_;
  Postings forms_;
  GrowingArray<Trigram> trigrams_;
  PairSet lemmas_;
  std::vector<Records> records_;
  size_t record_bytes_ = 0;
  std::vector<guint64> hidden_;
  Numbers numbers_;  // of the words that are being taken
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_ARTICLE_ENTRIES_H
