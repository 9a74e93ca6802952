// Writing articles of the journal to the databases.
#ifndef FENRA_STORE_WRITING_JOURNAL_WRITING_H
#define FENRA_STORE_WRITING_JOURNAL_WRITING_H

#include <functional>
#include <vector>

#include "store/articledb.h"
#include "store/waiting/journal_article.h"

namespace ostren::fenra::store {

// Writes the articles, in ascending order of their ids, to the open databases, and at last
// the id counter: while it is less than the last id, some of it may be missing, and all can
// be written once more. In between come checkpoints. Under the gate, where nobody else has
// a lock. Calls `before_removal` before it removes the records of an earlier article. Throws
// Failed and std::bad_alloc.
void write_articles(ArticledbDb* db, const std::vector<JournalArticle>& articles,
                    const std::function<void()>& before_removal);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_WRITING_H
