#include "store/writing/segment_writing.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "store/layout/stored_key.h"
#include "store/process/environment.h"
#include "store/sorted/id_list.h"
#include "store/sorted/merged_section.h"
#include "store/sorted/sections.h"
#include "store/writing/article_version.h"
#include "store/writing/pair_item.h"
#include "store/writing/writing_progress.h"

namespace ostren::fenra::store {
namespace {

// Puts that share a Berkeley DB transaction. Each holds a lock for every page it changes.
constexpr size_t GROUP_PAIRS = 1024;
constexpr size_t GROUP_RECORDS = 64;

guint64 id_of(std::string_view bytes) {
  guint64 id = 0;
  require(bytes.size() != sizeof id ? EIO : 0);
  memcpy(&id, bytes.data(), sizeof id);
  return id;
}

class Writing {
 public:
  using Field = DB* ArticledbDb::*;

  Writing(ArticledbDb* db, const SortedFiles& files)
      : db_(db), files_(files), progress_(db, files) {}

  void run(guint64 last_id, const std::function<void()>& before_removal) {
    read_hidden();
    write_ids(&ArticledbDb::sourcedb, section::SOURCES);
    write_ids(&ArticledbDb::datedb, section::DATES);
    write_lemmas();
    write_ids(&ArticledbDb::formdb, section::FORMS);
    write_ids(&ArticledbDb::trigramdb, section::TRIGRAMS);
    // Last: an article is shown, and those that it replaces are not any more, when all of its
    // words are there.
    write_ids(&ArticledbDb::urlidx, section::URLS);
    write_records(section::TEXTS);
    write_records(section::URL_RECORDS);
    if (!hidden_.empty()) {
      before_removal();
      remove_hidden();
    }
    put(&ArticledbDb::iddb, {ID_COUNTER_KEY, sizeof ID_COUNTER_KEY}, id_bytes(last_id));
  }

 private:
  // Runs `write(txn)` in a transaction. It throws Failed to undo what it has done.
  template <typename Write>
  void transact(Write write) {
    require(in_transaction(db_->env, [&](DB_TXN* txn) { return status_of([&] { write(txn); }); }));
    require(environment_checkpoint(db_->env));
  }

  void put(Field field, std::string_view key, std::string_view data) {
    DBT key_item = input_item(key);
    DBT data_item = input_item(data);
    require((db_->*field)->put(db_->*field, nullptr, &key_item, &data_item, 0));
  }

  void read_hidden() {
    for (MergedSection entries(files_, section::HIDDEN); entries.next();) {
      hidden_.push_back(hidden_id(entries.key()));
    }
    std::sort(hidden_.begin(), hidden_.end());
  }

  // ---- lists of ids ----

  // Earlier versions kept longer keys.
  void write_ids(Field field, int section) {
    for (MergedSection entries(files_, section); entries.next();) {
      progress_.advance(entries.key().size() + entries.payload().size());
      const StoredKey key(database_key(section, entries.key()));
      for (IdReader ids(entries.payload()); !ids.at_end();) {
        add_pair(key.bytes(), ids.next());
        if (pairs_.size() == GROUP_PAIRS) {
          put_pairs(field);
        }
      }
    }
    put_pairs(field);
  }

  void add_pair(std::string_view key, guint64 id) {
    pairs_.push_back({key_bytes_.size(), key.size(), id});
    key_bytes_.append(key);
  }

  // The empty source is a key too, which no list of pairs can have.
  void put_pairs(Field field) {
    std::vector<KeyedId> keyed;
    DB* const database = db_->*field;
    transact([&](DB_TXN* txn) {
      for (const Pair& pair : pairs_) {
        keyed.push_back({{key_bytes_.data() + pair.begin, pair.size}, pair.id});
        if (pair.size == 0) {
          DBT key = input_item(keyed.back().key);
          DBT data = id_item(&keyed.back().id);
          require(database->put(database, txn, &key, &data, DB_OVERWRITE_DUP));
          keyed.pop_back();
        }
      }
      item_.fill(keyed.begin(), keyed.end());
      require(item_.put(database, txn));
    });
    pairs_.clear();
    key_bytes_.clear();
  }

  // ---- lemmas ----

  void put_new(DB_TXN* txn, Field field, std::string_view key, std::string_view data) {
    const int ret = put_new_pair(db_->*field, txn, input_item(key), input_item(data));
    require(ret == DB_KEYEXIST ? 0 : ret);
  }

  // Each in a transaction of its own: undoing puts of short items may leave a corrupt page.
  void write_lemmas() {
    std::string before;
    size_t count = 0;
    for (MergedSection entries(files_, section::LEMMAS); entries.next();) {
      progress_.advance(entries.key().size());
      if (entries.key() == before) {
        continue;
      }
      before = entries.key();
      const LemmaKey pair(before);
      put_new(nullptr, &ArticledbDb::lemmadb, StoredKey(pair.lemma).bytes(),
              StoredKey(pair.form).bytes());
      if (++count % GROUP_PAIRS == 0) {
        require(environment_checkpoint(db_->env));
      }
    }
  }

  // ---- records ----

  struct Record {
    guint64 id;
    std::string bytes;
  };

  void write_records(int section) {
    std::vector<Record> group;
    for (MergedSection entries(files_, section); entries.next();) {
      progress_.advance(entries.key().size() + entries.payload().size());
      const guint64 id = id_of(database_key(section, entries.key()));
      if (!std::binary_search(hidden_.begin(), hidden_.end(), id)) {
        group.push_back({id, std::string(entries.payload())});
      }
      if (group.size() == GROUP_RECORDS) {
        put_records(section, group);
        group.clear();
      }
    }
    put_records(section, group);
  }

  void put_records(int section, const std::vector<Record>& group) {
    transact([&](DB_TXN* txn) {
      for (const Record& record : group) {
        DBT key = id_item(&record.id);
        DBT data = input_item(record.bytes);
        if (section == section::TEXTS) {
          put_new(txn, &ArticledbDb::txtdb, id_bytes(record.id), record.bytes);
        } else {
          require(db_->urldb->put(db_->urldb, txn, &key, &data, 0));
        }
      }
    });
  }

  void remove_hidden() {
    for (size_t first = 0; first < hidden_.size(); first += GROUP_RECORDS) {
      const size_t end = std::min(first + GROUP_RECORDS, hidden_.size());
      const std::vector<guint64> ids(hidden_.begin() + static_cast<std::ptrdiff_t>(first),
                                     hidden_.begin() + static_cast<std::ptrdiff_t>(end));
      transact([&](DB_TXN* txn) { require(remove_records(db_, txn, ids)); });
    }
  }

  struct Pair {
    size_t begin;  // in key_bytes_
    size_t size;
    guint64 id;
  };

  ArticledbDb* const db_;
  const SortedFiles& files_;
  WritingProgress progress_;
  std::vector<guint64> hidden_;  // ascending
  // Of a group.
  std::string key_bytes_;
  std::vector<Pair> pairs_;
  PairItem item_;
};

}  // namespace

void write_out(ArticledbDb* db, const SortedFiles& files, guint64 last_id,
               const std::function<void()>& before_removal) {
  Writing(db, files).run(last_id, before_removal);
}

}  // namespace ostren::fenra::store
