// An article with all that does not depend on the store done: its words, trigrams,
// lemmas and records.
#ifndef FENRA_STORE_ARTICLE_PREPARED_ARTICLE_H
#define FENRA_STORE_ARTICLE_PREPARED_ARTICLE_H

#include <glib.h>

#include <memory>
#include <string>
#include <vector>

#include "store/article/article.h"
#include "store/article/word_table.h"
#include "store/articledb.h"

namespace ostren::fenra::store {

struct PreparedArticle {
  struct Trigram {
    guint32 words[TRIGRAM_BUILDER_WORDS];  // oldest first
  };
  struct LemmaPair {
    guint32 lemma;
    guint32 form;
  };

  std::string url_key;     // of "urlidx"
  std::string source_key;  // of "sourcedb"
  guint32 date = 0;
  std::string url_record;
  TextRecord text_record;
  // All below are numbers of this table.
  WordTable words;
  std::vector<guint32> forms;  // distinct
  std::vector<Trigram> trigrams;
  std::vector<LemmaPair> lemmas;  // of each distinct form, in the order of `forms`
};

// Where an article's words come from.
struct WordSource {
  ArticledbNextTokenFunc next_token;
  void* tokenizer;
  ArticledbLemmatizerFunc lemmatize;
  void* lemmatizer;
};

// Prepares what articledb_db_index would write. Returns its status. Null when it would
// write nothing; after a failure of the token source the article has what comes before
// it.
int prepare_article(GHashTable* metadata, const WordSource& source,
                    std::unique_ptr<PreparedArticle>* article);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_PREPARED_ARTICLE_H
