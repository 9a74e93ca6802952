#include "store/writing/journal_writing.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/layout/key_order.h"
#include "store/layout/stored_key.h"
#include "store/process/environment.h"
#include "store/writing/article_version.h"
#include "store/writing/journal_vocabulary.h"
#include "store/writing/pair_item.h"

namespace ostren::fenra::store {
namespace {

// Puts that share a Berkeley DB transaction. Each holds a lock for every page it changes.
constexpr size_t GROUP_PAIRS = 1024;
constexpr size_t GROUP_RECORDS = 64;

// In ascending order of this the keys of a hash database lie side by side in it, but for
// those with the same number.
guint64 hash_order(std::string_view key) {
  return guint64{bucket_order(word_hash(key))} << 32 | prefix_of(key) >> 32;
}

// A key with an article, so that all of them are in the order of the database.
struct Posting {
  guint64 key;   // what it means depends on the database
  guint64 rest;  // of the key, 32 bits, and the article's number

  guint32 article() const { return static_cast<guint32>(rest); }

  bool operator<(const Posting& other) const {
    return key != other.key ? key < other.key : rest < other.rest;
  }
  bool operator==(const Posting& other) const { return key == other.key && rest == other.rest; }
};
using Postings = std::vector<Posting>;
using Articles = std::vector<JournalArticle>;

// The key of a posting: the form's place in the order of the buckets.
class FormKeys {
 public:
  explicit FormKeys(const JournalVocabulary& vocabulary) : vocabulary_(vocabulary) {}

  void list(const JournalArticle& article, guint32 number, Postings* postings) const {
    const guint32* ranks = vocabulary_.ranks(number);
    for (size_t form = 0; form < article.forms.size(); ++form) {
      postings->push_back({vocabulary_.bucket_place(ranks[form]), number});
    }
  }

  void append(const Posting& posting, std::string* bytes) const {
    const StoredKey form(vocabulary_.word(vocabulary_.rank_at(static_cast<guint32>(posting.key))));
    bytes->append(form.bytes());
  }

 private:
  const JournalVocabulary& vocabulary_;
};

// The key of a posting: the ranks of the words. Words with a zero byte at their end come in
// the order of the words, since no word contains one.
class TrigramKeys {
 public:
  explicit TrigramKeys(const JournalVocabulary& vocabulary) : vocabulary_(vocabulary) {}

  void list(const JournalArticle& article, guint32 number, Postings* postings) const {
    const guint32* ranks = vocabulary_.ranks(number);
    const std::vector<guint32>& forms = article.sequence;
    for (size_t i = 0; i < forms.size(); ++i) {
      if (article.has_trigram(i)) {
        postings->push_back({guint64{ranks[forms[i]]} << 32 | ranks[forms[i + 1]],
                             guint64{ranks[forms[i + 2]]} << 32 | number});
      }
    }
  }

  void append(const Posting& posting, std::string* bytes) const {
    for (const guint64 rank : {posting.key >> 32, posting.key & G_MAXUINT32, posting.rest >> 32}) {
      bytes->append(vocabulary_.word(static_cast<guint32>(rank))).push_back('\0');
    }
  }

 private:
  const JournalVocabulary& vocabulary_;
};

// All postings of the articles, each once, in the order of the database.
template <typename Keys>
Postings sorted_postings(const Keys& keys, const Articles& articles) {
  Postings postings;
  for (guint32 number = 0; number < articles.size(); ++number) {
    keys.list(articles[number], number, &postings);
  }
  std::sort(postings.begin(), postings.end());
  postings.erase(std::unique(postings.begin(), postings.end()), postings.end());
  return postings;
}

struct LemmaPair : JournalArticle::LemmaPair {
  guint64 order;

  bool operator<(const LemmaPair& other) const {
    return order != other.order ? order < other.order
                                : std::tie(lemma, form) < std::tie(other.lemma, other.form);
  }
  bool operator==(const LemmaPair& other) const {
    return lemma == other.lemma && form == other.form;
  }
};

struct KeyedArticle {
  guint64 order;  // of the key
  const JournalArticle* article;
};

// The latest article of a URL.
struct NewestArticle : KeyedArticle {
  std::vector<guint64> replaced;  // all others of the URL
};

class Writing {
 public:
  Writing(ArticledbDb* db, const Articles& articles, const std::function<void()>& before_removal)
      : db_(db), articles_(articles), before_removal_(before_removal) {}

  void run() {
    write_sources_and_dates();
    write_lemmas();
    const JournalVocabulary vocabulary(articles_);
    write_postings(&ArticledbDb::formdb, FormKeys(vocabulary));
    write_postings(&ArticledbDb::trigramdb, TrigramKeys(vocabulary));
    // Last: an article is shown, and those that it replaces are not any more, when all of its
    // words are there.
    write_urls();
    write_records();
    const guint64 last_id = articles_.back().id;
    put(nullptr, &ArticledbDb::iddb, {ID_COUNTER_KEY, sizeof ID_COUNTER_KEY}, id_bytes(last_id));
  }

 private:
  using Field = DB* ArticledbDb::*;

  // Runs `write(txn)` in a transaction. It throws Failed to undo what it has done.
  template <typename Write>
  void transact(Write write) {
    require(in_transaction(db_->env, [&](DB_TXN* txn) { return status_of([&] { write(txn); }); }));
  }

  // Runs `write(txn, item)` for each of the items, some of them in a transaction.
  template <typename Items, typename Write>
  void in_groups(const Items& items, Write write) {
    for (size_t first = 0; first < items.size(); first += GROUP_RECORDS) {
      transact([&](DB_TXN* txn) {
        for (size_t i = first; i < std::min(first + GROUP_RECORDS, items.size()); ++i) {
          write(txn, items[i]);
        }
      });
      checkpoint();
    }
  }

  void checkpoint() { require(environment_checkpoint(db_->env)); }

  void put(DB_TXN* txn, Field field, std::string_view key, std::string_view data,
           guint32 flags = 0) {
    DB* database = db_->*field;
    DBT key_item = input_item(key);
    DBT data_item = input_item(data);
    require(database->put(database, txn, &key_item, &data_item, flags));
  }

  void put_new(DB_TXN* txn, Field field, std::string_view key, std::string_view data) {
    const int ret = put_new_pair(db_->*field, txn, input_item(key), input_item(data));
    require(ret == DB_KEYEXIST ? 0 : ret);
  }

  // ---- lists of ids ----

  template <typename Keys>
  void write_postings(Field field, const Keys& keys) {
    const Postings postings = sorted_postings(keys, articles_);
    for (size_t first = 0; first < postings.size(); first += GROUP_PAIRS) {
      gather(keys, postings, first, std::min(first + GROUP_PAIRS, postings.size()));
      transact([&](DB_TXN* txn) { require(item_.put(db_->*field, txn)); });
      checkpoint();
    }
  }

  // Takes the postings into the item.
  template <typename Keys>
  void gather(const Keys& keys, const Postings& postings, size_t first, size_t end) {
    key_bytes_.clear();
    pairs_.clear();
    std::array<size_t, GROUP_PAIRS + 1> offsets;
    for (size_t i = first; i < end; ++i) {
      offsets[i - first] = key_bytes_.size();
      keys.append(postings[i], &key_bytes_);
    }
    offsets[end - first] = key_bytes_.size();
    for (size_t i = first; i < end; ++i) {
      const size_t offset = offsets[i - first];
      pairs_.push_back({{&key_bytes_[offset], offsets[i - first + 1] - offset},
                        articles_[postings[i].article()].id});
    }
    item_.fill(pairs_.begin(), pairs_.end());
  }

  // One by one: the empty source is a key too.
  void write_sources_and_dates() {
    in_groups(articles_, [&](DB_TXN* txn, const JournalArticle& article) {
      const std::string_view date(reinterpret_cast<const char*>(&article.records.date),
                                  sizeof article.records.date);
      put(txn, &ArticledbDb::sourcedb, StoredKey(article.records.source).bytes(),
          id_bytes(article.id), DB_OVERWRITE_DUP);
      put(txn, &ArticledbDb::datedb, date, id_bytes(article.id), DB_OVERWRITE_DUP);
    });
  }

  // ---- articles ----

  // Of each URL only the newest article keeps its records. The ids come to the databases
  // before the records do: so those of an earlier try are known by them.
  void write_urls() {
    std::vector<KeyedArticle> urls;
    for (const JournalArticle& article : articles_) {
      urls.push_back({hash_order(article.records.url), &article});
    }
    std::sort(urls.begin(), urls.end(), [](const KeyedArticle& a, const KeyedArticle& b) {
      return std::tie(a.order, a.article->records.url, a.article->id) <
             std::tie(b.order, b.article->records.url, b.article->id);
    });
    in_groups(urls, [&](DB_TXN* txn, const KeyedArticle& url) {
      put(txn, &ArticledbDb::urlidx, StoredKey(url.article->records.url).bytes(),
          id_bytes(url.article->id), DB_OVERWRITE_DUP);
    });
    for (auto url = urls.begin(); url != urls.end(); ++url) {
      const JournalArticle& article = *url->article;
      if (url + 1 == urls.end() || url[1].article->records.url != article.records.url) {
        newest_.push_back({{hash_order(id_bytes(article.id)), &article}, others_of(article)});
      }
    }
  }

  std::vector<guint64> others_of(const JournalArticle& article) const {
    OtherVersions others;
    require(read_other_versions(db_, article.records.url, article.id, Reach::NEWEST, &others));
    return others.ids;
  }

  void write_records() {
    std::sort(newest_.begin(), newest_.end(),
              [](const KeyedArticle& a, const KeyedArticle& b) { return a.order < b.order; });
    in_groups(newest_, [&](DB_TXN* txn, const NewestArticle& newest) {
      const JournalArticle& article = *newest.article;
      if (!newest.replaced.empty()) {
        before_removal_();
      }
      require(show_version(db_, txn, article.id, article.records, newest.replaced));
    });
  }

  // ---- lemmas ----

  // Each in a transaction of its own: undoing puts of short items may leave a corrupt page.
  void write_lemmas() {
    std::vector<LemmaPair> pairs;
    for (const JournalArticle& article : articles_) {
      for (const JournalArticle::LemmaPair& pair : article.lemmas) {
        pairs.push_back({pair, hash_order(pair.lemma)});
      }
    }
    std::sort(pairs.begin(), pairs.end());
    pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
    for (size_t i = 0; i < pairs.size(); ++i) {
      put_new(nullptr, &ArticledbDb::lemmadb, StoredKey(pairs[i].lemma).bytes(),
              StoredKey(pairs[i].form).bytes());
      if (i % GROUP_PAIRS == 0) {
        checkpoint();
      }
    }
  }

  ArticledbDb* const db_;
  const Articles& articles_;
  const std::function<void()>& before_removal_;
  std::vector<NewestArticle> newest_;
  // Of a group.
  std::string key_bytes_;
  std::vector<KeyedId> pairs_;
  PairItem item_;
};

}  // namespace

void write_articles(ArticledbDb* db, const Articles& articles,
                    const std::function<void()>& before_removal) {
  if (!articles.empty()) {
    Writing(db, articles, before_removal).run();
  }
}

}  // namespace ostren::fenra::store
