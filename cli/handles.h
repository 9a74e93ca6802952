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

#include "articles/handles.h"
#include "base/handles.h"

namespace cli {

using ostren::fenra::Releaser;

using ostren::fenra::articles::Bulk;
using ostren::fenra::articles::BulkArticle;
using ostren::fenra::articles::Lemmatizer;
using ostren::fenra::articles::Store;
using ostren::fenra::articles::Stream;
using ostren::fenra::articles::Transaction;
using StringList = std::unique_ptr<GList, Releaser<articledb_string_list_free>>;
using Lexicon = std::unique_ptr<QorLexicon, Releaser<Pelko::close_lexicon>>;
using Transducer = std::unique_ptr<LkFst, Releaser<lk_fst_free>>;
using ostren::fenra::articles::GlibText;
using ostren::fenra::articles::Metadata;

}  // namespace cli

#endif  // FENRA_CLI_HANDLES_H
