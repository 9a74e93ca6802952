// Owning pointers for the library's handles.
#ifndef FENRA_CLI_HANDLES_H
#define FENRA_CLI_HANDLES_H

#include <fenra/articledb.h>
#include <fenra/articledb_backup.h>
#include <fenra/articledb_bulk.h>
#include <fenra/articledb_generator.h>
#include <fenra/articledb_lemmatizer.h>
#include <fenra/articledb_util.h>
#include <fenra/ostren_ffst.h>
#include <fenra/ostrenfst.h>
#include <glib.h>

#include <memory>

#include "base/handles.h"

namespace cli {

using ostren::fenra::Releaser;

using Store = std::unique_ptr<ArticledbDb, Releaser<articledb_db_close>>;
using Bulk = std::unique_ptr<ArticledbBulk, Releaser<articledb_bulk_free>>;
using BulkArticle = std::unique_ptr<ArticledbBulkArticle, Releaser<articledb_bulk_article_free>>;
using Transaction = std::unique_ptr<ArticledbTransaction, Releaser<articledb_transaction_abort>>;
using Stream = std::unique_ptr<OstrenGenerator, Releaser<ostren_generator_free>>;
using Lemmatizer = std::unique_ptr<void, Releaser<articledb_simple_fst_lemmatizer_free>>;
using StringList = std::unique_ptr<GList, Releaser<articledb_string_list_free>>;
using Lexicon = std::unique_ptr<QorLexicon, Releaser<Pelko::close_lexicon>>;
using Transducer = std::unique_ptr<LkFst, Releaser<lk_fst_free>>;
using Metadata = std::unique_ptr<GHashTable, Releaser<g_hash_table_destroy>>;
using GlibText = std::unique_ptr<char, Releaser<g_free>>;

}  // namespace cli

#endif  // FENRA_CLI_HANDLES_H
