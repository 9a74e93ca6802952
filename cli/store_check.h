// The examination of a store that nobody else uses, a snapshot.
#ifndef FENRA_CLI_STORE_CHECK_H
#define FENRA_CLI_STORE_CHECK_H

#include <fenra/articledb.h>

#include <cstdint>
#include <string>
#include <vector>

#include "cli/progress.h"

namespace cli {

// What was found, for people. Every kind keeps its first lines only.
class Findings {
 public:
  static constexpr size_t kMostLines = 100;

  void add(const std::string& line) {
    if (++count_ <= kMostLines) {
      lines_.push_back(line);
    }
  }

  uint64_t count() const { return count_; }
  const std::vector<std::string>& lines() const { return lines_; }

 private:
  uint64_t count_ = 0;
  std::vector<std::string> lines_;
};

struct CheckResult {
  uint64_t articles = 0;
  uint64_t postings = 0;  // of forms, trigrams, sources and dates
  // Deep only: form and trigram postings of live articles whose texts do not hold
  // them.
  uint64_t unexpected = 0;
  Findings problems;
  // Traces of an indexing that was cut short, which are no damage: an article that lacks
  // what is written last, and the text of a replaced article.
  Findings leftovers;
};

// Checks the records and postings of the store in `path`; with `deep` reads every
// text again. Throws Failure when the store cannot be opened or read on.
void check_articles(const std::string& path, bool deep, StatusLine& line, CheckResult& result);

// Looks for keys, and forms under lemmas, that are longer than this version stores them.
// Throws Failure.
void check_long_keys(ArticledbDb* db, CheckResult& result);

// Berkeley DB's own verification of the closed store's pages and of the order and
// the hashing of the items.
void check_pages(const std::string& path, StatusLine& line, CheckResult& result);

}  // namespace cli

#endif  // FENRA_CLI_STORE_CHECK_H
