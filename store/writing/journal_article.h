// An article as a record of the journal has it: all that indexing writes to the databases.
#ifndef FENRA_STORE_WRITING_JOURNAL_ARTICLE_H
#define FENRA_STORE_WRITING_JOURNAL_ARTICLE_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "store/article/article.h"
#include "store/article/postings.h"

namespace ostren::fenra::store {

// Points into the record.
struct JournalArticle {
  struct LemmaPair {
    std::string_view lemma;
    std::string_view form;
  };

  guint64 id = 0;
  guint32 date = 0;
  std::string_view url;
  std::string_view source;
  std::string_view url_record;
  std::string_view text_record;
  std::vector<std::string_view> forms;
  std::vector<guint32> sequence;  // as Postings::sequence
  std::vector<LemmaPair> lemmas;

  // Whether the words at `place` of the sequence and the two after it are a trigram.
  bool has_trigram(size_t place) const {
    return place + TRIGRAM_BUILDER_WORDS <= sequence.size() && sequence[place] != Postings::BREAK &&
           sequence[place + 1] != Postings::BREAK && sequence[place + 2] != Postings::BREAK;
  }
};

// Reads the payload of a record. Throws Failed, with EPROTO for what is not an article, and
// std::bad_alloc.
JournalArticle read_journal_article(guint64 id, std::string_view payload);

// Appends the payload for an article to the record; false, and the record undefined, when
// something is too long for it, or empty though it is a key, or when the trigrams are not
// those of a sequence. Throws a std::exception when memory is short.
bool append_journal_article(const Article& article, std::string_view url_record,
                            const TextRecord& text_record, const Postings& postings,
                            std::string* record);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_ARTICLE_H
