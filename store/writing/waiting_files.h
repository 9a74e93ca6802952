// What waits in a store's directory, from the files to a view, and to the databases.
#ifndef FENRA_STORE_WRITING_WAITING_FILES_H
#define FENRA_STORE_WRITING_WAITING_FILES_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "store/articledb.h"
#include "store/sorted/sorted_file.h"
#include "store/waiting/journal_file.h"
#include "store/waiting/segment_list.h"
#include "store/waiting/waiting_view.h"
#include "store/writing/article_version.h"

namespace ostren::fenra::store {

// All of it throws Failed and std::bad_alloc.

// Those whose records the article `id` of the URL, or its removal, hides: in the databases, and in
// the view.
std::vector<guint64> other_versions(ArticledbDb* db, std::string_view url, guint64 id,
                                    const WaitingView& view, Reach reach = Reach::NEWEST);

// Takes the records' articles that the view does not have into its memory, and with each those that
// it hides. The records are in memory of the view's.
void add_articles(ArticledbDb* db, const std::vector<JournalFile::Record>& records,
                  WaitingView* view);

// The segments, and a temporary file with the articles in memory.
SortedFiles sorted_files(const std::string& directory, const SegmentRanges& segments,
                         const WaitingIndex& memory);

// Writes what waits in a directory to the open databases of a store that nobody else has, and
// removes it when that is safe in the log.
void write_out_waiting(ArticledbDb* db, const char* directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_WAITING_FILES_H
