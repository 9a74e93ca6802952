// Opening a store for a command and reading articles out of it.
#ifndef FENRA_CLI_STORE_H
#define FENRA_CLI_STORE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "articles/article_reader.h"
#include "articles/opening.h"
#include "articles/urls.h"
#include "cli/failure.h"
#include "cli/handles.h"
#include "store/layout/store_files.h"

namespace cli {

using ostren::fenra::articles::Article;
using ostren::fenra::articles::ArticleReader;
using ostren::fenra::articles::close_store;
using ostren::fenra::articles::delete_article;
using ostren::fenra::articles::delete_url;
using ostren::fenra::articles::has_database;
using ostren::fenra::articles::inflate_text;
using ostren::fenra::articles::metadata_pairs;
using ostren::fenra::articles::MetadataPairs;
using ostren::fenra::articles::value_of;
using ostren::fenra::store::DATABASE_FILE;
using ostren::fenra::store::is_log_name;

// Throws Failure when there is no store in the directory `path`.
void require_store(const std::string& path);

// Opens the store in the directory `path`, for reading only when the caller may not write to the
// directory. Throws Failure, and leaves the file system alone, when there is none.
Store open_store(const std::string& path);

// The same; everything is in its databases.
Store open_databases(const std::string& path);

// Opens the store in `path`, or makes one when `path` does not exist or is an
// empty directory, which is replaced by a new one. A new one gets the rules of words of
// that name, the default when it is empty. Throws Failure for any other directory, and when
// a store has other rules than those that are named.
Store open_or_make_store(const std::string& path, const std::string& rules);

// Has the lexicon that the index was made with noted in the store. Throws Failure.
void note_lexicon(const std::string& path);

// The embedded lexicon as a lemmatizer, respectively for analyses. They throw
// Failure when it cannot be written to the temporary directory or loaded.
Lemmatizer load_lemmatizer();
Lexicon load_lexicon();

// The last id that has been handed out. Throws Failure.
uint64_t last_id(ArticledbDb* db);

// Why the store in `path` is refused a build or compaction: for what stands in the place of the
// directory beside it, if there is anything, and else for the other reason.
std::string build_refusal(const std::string& path, const std::string& otherwise);

}  // namespace cli

#endif  // FENRA_CLI_STORE_H
