// Owning pointers for the handles of the layers below.
#ifndef FENRA_ARTICLES_HANDLES_H
#define FENRA_ARTICLES_HANDLES_H

#include <fenra/articledb.h>
#include <fenra/articledb_bulk.h>
#include <fenra/articledb_generator.h>
#include <fenra/articledb_lemmatizer.h>
#include <fenra/articledb_query.h>
#include <glib.h>

#include <memory>

#include "base/handles.h"

namespace ostren::fenra::articles {

using Store = std::unique_ptr<ArticledbDb, Releaser<articledb_db_close>>;
using Bulk = std::unique_ptr<ArticledbBulk, Releaser<articledb_bulk_free>>;
using BulkArticle = std::unique_ptr<ArticledbBulkArticle, Releaser<articledb_bulk_article_free>>;
using Transaction = std::unique_ptr<ArticledbTransaction, Releaser<articledb_transaction_abort>>;
using Stream = std::unique_ptr<OstrenGenerator, Releaser<ostren_generator_free>>;
using Query = std::unique_ptr<ArticledbQuery, Releaser<articledb_query_free>>;
using Marker = std::unique_ptr<ArticledbQueryMarker, Releaser<articledb_query_marker_free>>;
using Lemmatizer = std::unique_ptr<void, Releaser<articledb_simple_fst_lemmatizer_free>>;
using Metadata = std::unique_ptr<GHashTable, Releaser<g_hash_table_destroy>>;
using GlibText = std::unique_ptr<char, Releaser<g_free>>;

}  // namespace ostren::fenra::articles

#endif  // FENRA_ARTICLES_HANDLES_H
