// An article as a record of the journal has it: all that indexing writes to the databases. Or the
// removal of one.
#ifndef FENRA_STORE_WAITING_JOURNAL_ARTICLE_H
#define FENRA_STORE_WAITING_JOURNAL_ARTICLE_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "store/article/article.h"
#include "store/article/article_terms.h"
#include "store/article/known_pairs.h"

namespace ostren::fenra::store {

// Points into the record. URL and source are StoredKeys.
struct JournalArticle {
  struct LemmaPair {
    std::string_view lemma;
    std::string_view form;
  };

  guint64 id = 0;
  ArticleRecords records;
  std::vector<std::string_view> forms;
  std::vector<guint32> sequence;  // as ArticleTerms::sequence, of places in `forms`
  std::vector<LemmaPair> lemmas;

  // On disk: of the URL, whose articles lose their records; no article is without a URL record.
  bool is_removal() const { return records.url_record.empty(); }

  // Whether the words at `place` of the sequence and the two after it are a trigram.
  bool has_trigram(size_t place) const {
    return place + TRIGRAM_BUILDER_WORDS <= sequence.size() &&
           sequence[place] != ArticleTerms::BREAK && sequence[place + 1] != ArticleTerms::BREAK &&
           sequence[place + 2] != ArticleTerms::BREAK;
  }
};

// Reads the payload of a record. Throws Failed, with EPROTO for what is not an article, and
// std::bad_alloc.
JournalArticle read_journal_article(guint64 id, std::string_view payload);

// Appends the payload of an article whose terms are all in the portion, but for the pairs that
// are known to be on disk. False when a record cannot hold it: for its length, for a string
// that cannot be a key, for a zero byte in a word. Throws std::bad_alloc.
bool append_journal_article(const ArticleRecords& records, const ArticleTerms& terms,
                            KnownPairs* known, std::string* record);

// Appends the payload of a removal. `url` is a StoredKey.
void append_journal_removal(std::string_view url, std::string* record);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WAITING_JOURNAL_ARTICLE_H
