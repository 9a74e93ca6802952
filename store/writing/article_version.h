// The records by which an article is shown. Of the articles that a URL has had, one has
// records: who puts those of a new one takes away those of the others in the same
// transaction, so that nobody ever sees none of them, or two.
#ifndef FENRA_STORE_WRITING_ARTICLE_VERSION_H
#define FENRA_STORE_WRITING_ARTICLE_VERSION_H

#include <glib.h>

#include <string_view>
#include <vector>

#include "store/article/article.h"

namespace ostren::fenra::store {

// All of it takes place under the gate, and returns 0, -1 when memory is short, or Berkeley
// DB's code.

// The other articles of a URL that have records. Where an earlier version of this library was
// cut short there may be several, and some with one of the two records only.
struct OtherVersions {
  std::vector<guint64> ids;
  guint64 shown = 0;  // the highest id with a URL record; 0 for none
};

// Which of a URL's ids are looked at. A URL keeps all that it ever had, and only the highest ones
// can have records: every version of this library, when it writes an article, removes the records
// of all ids that the URL has by then. So what lies below the article that is shown, and has
// records, was written at the same time as one above it, by another process and without the gate,
// or was cut short; there are no more of those than there were writers. NEWEST goes down from the
// highest id to the one that is shown, over articles that wait for their records, and a few ids
// further; so what it costs does not grow with the number of replacements.
enum class Reach { NEWEST, ALL };
int read_other_versions(ArticledbDb* db, std::string_view url, guint64 id, Reach reach,
                        OtherVersions* others);

// The id of the article that the URL shows: the highest one with a URL record. DB_NOTFOUND, and
// *id untouched, when there is none.
int find_shown(ArticledbDb* db, std::string_view url, guint64* id);

// Removes the records of ids, which may be missing.
int remove_records(ArticledbDb* db, DB_TXN* txn, const std::vector<guint64>& ids);

// Puts an article's records and the postings of its URL, source and date, in a transaction of
// its own; unless the URL shows another article already: then *done is false, and nothing has
// been put.
int put_first_version(ArticledbDb* db, guint64 id, const ArticleRecords& records, bool* done);

// The same for an article whose words are on disk: it replaces those with a lower id, and is
// itself replaced by one with a higher id that the URL shows. Returns when it is on disk.
int put_next_version(ArticledbDb* db, guint64 id, const ArticleRecords& records);

// Removes the records of all articles of a URL in one transaction, and returns when that is on
// disk. DB_NOTFOUND, and nothing removed, when the URL shows none.
int remove_versions(ArticledbDb* db, std::string_view url);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_ARTICLE_VERSION_H
