// Opening a store for a command and reading articles out of it.
#ifndef FENRA_CLI_STORE_H
#define FENRA_CLI_STORE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/handles.h"
#include "store/layout/store_files.h"

namespace cli {

using ostren::fenra::store::DATABASE_FILE;
using ostren::fenra::store::is_log_name;

bool has_database(const std::string& path);

// Throws Failure when there is no store in the directory `path`.
void require_store(const std::string& path);

// Opens the store in the directory `path`, for reading only when the caller may not write to the
// directory. Throws Failure, and leaves the file system alone, when there is none.
Store open_store(const std::string& path);

// Opens the store in `path`, or makes one when `path` does not exist or is an
// empty directory, which is replaced by a new one. A new one gets the rules of words of
// that name, the default when it is empty. Throws Failure for any other directory, and when
// a store has other rules than those that are named.
Store open_or_make_store(const std::string& path, const std::string& rules);

// Has the lexicon that the index was made with noted in the store. Throws Failure.
void note_lexicon(const std::string& path);

// Closes the store; throws Failure when that fails.
void close_store(Store store);

// The embedded lexicon as a lemmatizer, respectively for analyses. They throw
// Failure when it cannot be written to the temporary directory or loaded.
Lemmatizer load_lemmatizer();
Lexicon load_lexicon();

// The last id that has been handed out. Throws Failure.
uint64_t last_id(ArticledbDb* db);

// Deletes the article that the URL shows, in this spelling. False when it shows none. Throws
// Failure.
bool delete_article(ArticledbDb* db, const std::string& url);

// What a status of the store's means, for people.
std::string status_text(int status);

// Why the store in `path` is refused a build or compaction: for what stands in the place of the
// directory beside it, if there is anything, and else for the other reason.
std::string build_refusal(const std::string& path, const std::string& otherwise);

// The URL record of an article taken apart.
struct Article {
  std::string url;
  // The pairs behind the URL, as they were packed: key="value"; and so on.
  std::string metadata;
};

// The pairs of packed metadata. Values are stored unescaped; a value ends at the
// first `";` that the end or another pair follows. What is left without being a pair
// comes last, with an empty key.
std::vector<std::pair<std::string, std::string>> metadata_pairs(const std::string& metadata);

// Inflates a text record. Throws Failure when it is damaged.
std::string inflate_text(uint64_t id, std::string_view record);

// Reads records by article id, whatever their length.
class ArticleReader {
 public:
  explicit ArticleReader(ArticledbDb* db) : db_(db) {}

  // Nothing when the article has been replaced. Throws Failure when the store
  // fails, and when it cannot be told where the URL ends.
  std::optional<Article> article(uint64_t id);

  // The article's plain text. Throws Failure when the record is missing or
  // damaged, too.
  std::string text(uint64_t id);

  // As text(), of an article that has just been found; nothing when it has been replaced
  // since.
  std::optional<std::string> current_text(uint64_t id);

 private:
  using Lookup = int (*)(ArticledbDb*, guint64, void*, guint32*);

  // The bytes of a record, valid until the next read, or nothing when the id has
  // no such record.
  std::optional<std::string_view> record(Lookup lookup, uint64_t id);

  ArticledbDb* db_;
  std::vector<char> buffer_ = std::vector<char>(4096);
};

// Gives `take` a stream's articles, replaced ones left out, at most `limit`, and returns their
// number. Throws Failure when the stream is null or fails.
uint64_t each_article(ArticledbDb* db, const Stream& stream, uint64_t limit,
                      const std::function<void(uint64_t id, const Article& article)>& take);

// Prints the URLs of such articles, one a line, or only their number.
void print_articles(ArticledbDb* db, const Stream& stream, uint64_t limit = UINT64_MAX,
                    bool count_only = false);

}  // namespace cli

#endif  // FENRA_CLI_STORE_H
