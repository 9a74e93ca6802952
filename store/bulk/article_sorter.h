// Sorts what articles write into the databases, in bounded memory: collects until the
// limit is reached, writes that as a sorted run, and goes on.
#ifndef FENRA_STORE_BULK_ARTICLE_SORTER_H
#define FENRA_STORE_BULK_ARTICLE_SORTER_H

#include <glib.h>

#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "store/bulk/prepared_article.h"
#include "store/sorted/article_entries.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

class ArticleSorter {
 public:
  // Keeps its runs in the directory and takes about `limit` bytes of memory.
  ArticleSorter(std::string directory, size_t limit)
      : directory_(std::move(directory)), limit_(limit) {}

  // Takes the next article in, whose id is above that of the one before. Throws Failed and
  // std::bad_alloc, and is of no use then.
  void add(std::unique_ptr<PreparedArticle> article, guint64 id);

  // Writes what is left. The runs are valid as long as the sorter.
  const SortedFiles& finish();

 private:
  void write_run();
  void merge_runs();

  const std::string directory_;
  const size_t limit_;
  SortedFiles runs_;
  ArticleEntries entries_;
  std::deque<std::string> records_;  // of the articles in entries_
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_ARTICLE_SORTER_H
