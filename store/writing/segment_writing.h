// Writing what waits to the databases.
#ifndef FENRA_STORE_WRITING_SEGMENT_WRITING_H
#define FENRA_STORE_WRITING_SEGMENT_WRITING_H

#include <glib.h>

#include <functional>

#include "store/articledb.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

// Writes what the files have of articles, whose ids ascend from one file to the next, to the open
// databases, in the order of their keys, and at last the id counter: while it is less than the last
// id, some of it may be missing, and all can be written once more. In between come checkpoints.
// Under the gate, where nobody else has a lock. Calls `before_removal` before it removes records of
// earlier articles. Throws Failed and std::bad_alloc.
void write_out(ArticledbDb* db, const SortedFiles& files, guint64 last_id,
               const std::function<void()>& before_removal);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_SEGMENT_WRITING_H
