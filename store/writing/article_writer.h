// Indexing of one article: to the journal, if that takes it, and otherwise to the databases.
#ifndef FENRA_STORE_WRITING_ARTICLE_WRITER_H
#define FENRA_STORE_WRITING_ARTICLE_WRITER_H

#include <glib.h>

#include "store/article/article.h"
#include "store/article/article_terms.h"
#include "store/article/known_pairs.h"
#include "store/articledb.h"

namespace ostren::fenra::store {

// The journal takes an article whole, in a record or, when it is too large for one, as a segment.
// It is written to the databases in portions that each reach the disk before the next one begins.
// When the environment is built anew meanwhile, because a process died in it, whatever was not on
// disk is gone; the portion is then written again.
class ArticleWriter {
 public:
  // Borrows all of it. Without `uses_journal` the journal is not asked.
  ArticleWriter(ArticledbTransaction* t, const ArticleRecords& records, const WordSource& source,
                KnownPairs* known, bool uses_journal)
      : t_(t),
        db_(t->store),
        records_(records),
        source_(source),
        known_(known),
        uses_journal_(uses_journal) {}

  // Returns 0 when all is on disk; the code of a failed write; or what the source has failed
  // with, which may be 0 too. *exhausted tells that the source came to its end.
  int write(bool* exhausted);

  guint32 tokens_read() const { return terms_.tokens(); }
  bool wrote_journal() const { return !started_; }

 private:
  int write_to_journal();
  int append_to_journal();
  int append_large();
  int write_to_databases();
  int write_portion();
  int write_records();
  int write_terms_of_portion();
  int replace_earlier_articles();
  void collect_terms(ArticleTerms::Portion portion);
  void end_portion();
  void report(int code) const;

  ArticledbTransaction* const t_;
  ArticledbDb* const db_;
  const ArticleRecords& records_;
  const WordSource& source_;
  KnownPairs* const known_;
  const bool uses_journal_;
  ArticleTerms terms_;
  guint64 generation_ = 0;  // of the environment that the portion is written to
  guint64 id_ = 0;
  bool started_ = false;    // the first portion is on disk
  bool shown_ = false;      // the records are in the store
  bool collected_ = false;  // the portion's tokens have been read
  int source_status_ = ARTICLEDB_TOKEN_OK;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_ARTICLE_WRITER_H
