// Sorts what articles write into the databases, in bounded memory: collects until the
// limit is reached, writes that as a sorted run, and goes on.
#ifndef FENRA_STORE_BULK_ARTICLE_SORTER_H
#define FENRA_STORE_BULK_ARTICLE_SORTER_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/growing_array.h"
#include "base/pair_set.h"
#include "base/string_table.h"
#include "store/bulk/prepared_article.h"
#include "store/bulk/run_file.h"

namespace ostren::fenra::store {

// The sections of the runs, and their entries.
//
// Keys of hash databases come in the order of their buckets: in front of each stands
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
  COUNT
};
}  // namespace section

constexpr size_t BUCKET_ORDER_BYTES = 4;

// Takes an entry's key of section::LEMMAS apart.
struct LemmaKey {
  explicit LemmaKey(std::string_view entry_key);
  std::string_view lemma;
  std::string_view form;
};

class ArticleSorter {
 public:
  // Keeps its runs in the directory and takes about `limit` bytes of memory.
  ArticleSorter(std::string directory, size_t limit)
      : directory_(std::move(directory)), limit_(limit) {}

  // Takes the next article in, whose id is one more than that of the one before. Throws
  // Failed and std::bad_alloc, and is of no use then.
  void add(std::unique_ptr<PreparedArticle> article, guint64 id);

  // Writes what is left. The runs are valid as long as the sorter.
  const Runs& finish();

 private:
  struct Posting {
    guint32 word;
    guint32 article;  // less first_id_
  };
  struct Trigram {
    guint32 words[TRIGRAM_BUILDER_WORDS];
    guint32 article;
  };
  struct Records {
    std::string url_record;
    std::string text_record;
  };
  using Postings = GrowingArray<Posting>;
  using Numbers = GrowingArray<guint32>;

  size_t bytes() const;
  void take_keys(const PreparedArticle& article, guint32 index);
  void take_terms(const ArticleTerms& terms, guint32 index);

  void write_run();
  void write_postings(RunFile* run, const Postings& postings, const Numbers& in_order);
  void write_trigrams(RunFile* run);
  void write_lemmas(RunFile* run);
  template <typename RecordOf>
  void write_records(RunFile* run, RecordOf record_of);
  Numbers words_in_byte_order() const;
  Numbers words_in_bucket_order() const;
  void clear();
  void merge_runs();

  const std::string directory_;
  const size_t limit_;
  Runs runs_;

  guint64 first_id_ = 0;  // of the articles below
  StringTable words_;
  Postings urls_;
  Postings sources_;
  Postings dates_;
  Postings forms_;
  GrowingArray<Trigram> trigrams_;
  PairSet lemmas_;
  std::vector<Records> records_;
  size_t record_bytes_ = 0;
  Numbers numbers_;  // of the present article's words
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_ARTICLE_SORTER_H
