#include "store/bulk/prepared_article.h"

#include "store/article/article.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::store {

int prepare_article(GHashTable* metadata, const WordSource& source,
                    std::unique_ptr<PreparedArticle>* prepared) {
  Article article(metadata);
  const int ret = article.build_records();
  if (ret != 0) {
    return ret;
  }
  const ArticleRecords& records = article.records();
  auto made = std::make_unique<PreparedArticle>();
  made->url_key = StoredKey(records.url).bytes();
  made->source_key = StoredKey(records.source).bytes();
  made->date = records.date;
  made->url_record = records.url_record;
  made->text_record = records.text_record;
  const int status = made->terms.take(source, ArticleTerms::Portion::WHOLE);
  *prepared = std::move(made);
  return status == ARTICLEDB_TOKEN_END ? 0 : status;
}

}  // namespace ostren::fenra::store
