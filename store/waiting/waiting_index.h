// The articles that wait in the journal, in memory, by all that they are looked for by.
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
  // Forgets the articles. The databases have whole the articles with ids up to `base`, and no
  // other.
  void begin(guint64 base);
  guint64 base() const { return base_; }

  bool empty() const { return articles_.empty(); }
  guint64 last_id() const { return empty() ? base_ : articles_.back().id; }

  // Memory for records of the journal, into which articles that are added may point.
  std::string* new_bytes() { return &bytes_.emplace_back(); }

  // Adds an article, whose id is higher than all before, and which hides `replaced`: articles of
  // the databases. It hides earlier ones of its URL that wait, too.
  void add(JournalArticle article, const std::vector<guint64>& replaced);

  // ---- articles ----

  // Its records are not shown any more.
  bool hides(guint64 id) const { return hidden_.count(id) != 0; }

  // Null when it does not wait.
  const JournalArticle* article(guint64 id) const;

  // The newest one of the URL; null when none waits.
  const JournalArticle* newest_of_url(std::string_view url) const;

  // ---- lists ----

  // Whether the field is one of the databases of ids that lists can be had of: form, source, date,
  // trigram.
  static bool has_lists(DB* ArticledbDb::*field);

  // Appends up to `most` ids under the key that are not less than `least`.
  void read_ids(DB* ArticledbDb::*field, std::string_view key, guint64 least, size_t most,
                std::vector<guint64>* ids) const;

  bool has_id(DB* ArticledbDb::*field, std::string_view key, guint64 id) const;

  // The forms under a lemma that are greater than `after`, unless that is null, in byte order,
  // each once.
  std::vector<std::string_view> forms_of(std::string_view lemma,
                                         const std::string_view* after) const;

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

  guint64 base_ = 0;
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
