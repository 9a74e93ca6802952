// An article with all that does not depend on the store done: its terms and records.
#ifndef FENRA_STORE_BULK_PREPARED_ARTICLE_H
#define FENRA_STORE_BULK_PREPARED_ARTICLE_H

#include <glib.h>

#include <memory>
#include <string>

#include "store/article/article_terms.h"

namespace ostren::fenra::store {

struct PreparedArticle {
  std::string url_key;     // of "urlidx"
  std::string source_key;  // of "sourcedb"
  guint32 date = 0;
  std::string url_record;
  std::string text_record;
  ArticleTerms terms;
};

// Prepares what articledb_db_index would write. Returns its status. Null when it would
// write nothing; after a failure of the token source the article has what comes before
// it.
int prepare_article(GHashTable* metadata, const WordSource& source,
                    std::unique_ptr<PreparedArticle>* prepared);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_PREPARED_ARTICLE_H
