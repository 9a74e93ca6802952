// The articles of the journal, in memory, by all that they are looked for by.
#ifndef FENRA_STORE_WAITING_WAITING_INDEX_H
#define FENRA_STORE_WAITING_WAITING_INDEX_H

#include <glib.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "base/growing_array.h"
#include "base/string_table.h"
#include "store/articledb.h"
#include "store/sorted/article_entries.h"
#include "store/waiting/journal_article.h"

namespace ostren::fenra::store {

// Keys with what belongs to each, in the order in which it came. Values are numbers.
class KeyedLists {
 public:
  void add(std::string_view key, guint32 value);

  // Calls `visit(value)` for what belongs to the key.
  template <typename Visit>
  void for_each(std::string_view key, Visit visit) const {
    const guint32 number = keys_.find(key);
    if (number != StringTable::NONE) {
      for_each_of(number, visit);
    }
  }
  template <typename Visit>
  void for_each_of(guint32 number, Visit visit) const {
    for (guint32 at = ends_[number].first; at != StringTable::NONE; at = items_[at].next) {
      visit(items_[at].value);
    }
  }

  const StringTable& keys() const { return keys_; }

 private:
  struct Ends {
    guint32 first;
    guint32 last;
  };
  struct Item {
    guint32 value;
    guint32 next;  // NONE at the end
  };

  StringTable keys_;
  GrowingArray<Ends> ends_;  // by number of the key
  GrowingArray<Item> items_;
};

// Ids ascend in everything that is given. Costs of a lookup are those of a hash table, and of
// what it finds. Adding throws std::bad_alloc.
class WaitingIndex {
 public:
  // Forgets the articles.
  void begin() { *this = WaitingIndex(); }

  bool empty() const { return articles_.empty(); }
  guint64 last_id() const { return empty() ? 0 : articles_.back().id; }

  // Memory for records of the journal, into which articles that are added may point.
  std::string* new_bytes() { return &bytes_.emplace_back(); }

  // Adds an article or a removal, whose id is higher than all before, and which hides `replaced`,
  // of articles that are not here. It hides earlier ones of its URL that are, too.
  void add(JournalArticle article, const std::vector<guint64>& replaced);

  // Adds all of it to the entries, which borrow the records.
  void write_to(ArticleEntries* entries) const;

  // ---- articles ----

  // Its records are not shown any more, by what is here.
  bool hides(guint64 id) const { return hidden_.count(id) != 0; }

  // Null when it is not here.
  const JournalArticle* article(guint64 id) const;

  // The one of the URL that is shown; null when there is none here.
  const JournalArticle* newest_of_url(std::string_view url) const;

  // ---- lists ----

  // `field`: of a database of forms, sources, dates or trigrams.
  // Appends up to `most` ids under the key that are not less than `least`.
  void read_ids(DB* ArticledbDb::*field, std::string_view key, guint64 least, size_t most,
                std::vector<guint64>* ids) const;

  bool has_id(DB* ArticledbDb::*field, std::string_view key, guint64 id) const;

  // Appends the forms under a lemma, in any order, and some again.
  void read_forms(std::string_view lemma, std::vector<std::string_view>* forms) const;

  // Calls `visit(id)` for the ids under each key for which `wanted(key)` holds; of a database of
  // forms, sources or dates.
  void scan_keys(DB* ArticledbDb::*field, const std::function<bool(std::string_view)>& wanted,
                 const std::function<void(guint64)>& visit) const;

  // The same for the trigrams that begin with the prefix: an id may come again.
  void scan_trigrams(std::string_view prefix, const std::function<void(guint64)>& visit) const;

 private:
  const KeyedLists* lists_of(DB* ArticledbDb::*field) const;
  void visit_trigrams(std::string_view prefix, guint32 number,
                      const std::function<void(guint64)>& visit) const;

  std::deque<std::string> bytes_;
  std::vector<JournalArticle> articles_;
  // Numbers of articles.
  KeyedLists forms_;
  KeyedLists sources_;
  KeyedLists dates_;
  KeyedLists urls_;
  // Numbers in lemma_forms_.
  KeyedLists lemmas_;
  std::vector<std::string_view> lemma_forms_;
  std::unordered_set<guint64> hidden_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WAITING_WAITING_INDEX_H
