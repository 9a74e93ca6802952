#include "store/writing/article_version.h"

#include <algorithm>

#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/layout/url_index.h"

namespace ostren::fenra::store {
namespace {

// How many ids below that of the article which is shown are looked at for records.
constexpr size_t FEW = 16;

// Hands out ids from the highest down; cheap where only some are wanted.
class NewestFirst {
 public:
  // Borrows the ids and uses them up.
  explicit NewestFirst(std::vector<guint64>* ids) : ids_(ids) {
    std::make_heap(ids->begin(), ids->end());
  }

  bool next(guint64* id) {
    if (ids_->empty()) {
      return false;
    }
    std::pop_heap(ids_->begin(), ids_->end());
    *id = ids_->back();
    ids_->pop_back();
    return true;
  }

 private:
  std::vector<guint64>* const ids_;
};

int put(DB* database, DB_TXN* txn, DBT key, DBT data, guint32 flags) {
  return database->put(database, txn, &key, &data, flags);
}

int remove_if_present(DB* database, DB_TXN* txn, DBT key) {
  const int ret = database->del(database, txn, &key, 0);
  return ret == DB_NOTFOUND ? 0 : ret;
}

// DB_NOTFOUND when there is no record of the id.
int find_record(DB* database, const guint64& id) {
  DBT key = id_item(&id);
  DBT data = ignored_item();
  return database->get(database, nullptr, &key, &data, 0);
}

int put_keys(ArticledbDb* db, DB_TXN* txn, guint64 number, const ArticleRecords& records) {
  const StoredKey url(records.url);
  const StoredKey source(records.source);
  const DBT date = input_item(&records.date, sizeof records.date);
  const DBT id = id_item(&number);
  int ret = put(db->urlidx, txn, input_item(url.bytes()), id, DB_OVERWRITE_DUP);
  if (ret == 0) {
    ret = put(db->sourcedb, txn, input_item(source.bytes()), id, DB_OVERWRITE_DUP);
  }
  return ret != 0 ? ret : put(db->datedb, txn, date, id, DB_OVERWRITE_DUP);
}

// Puts the records of `id`, which may be there, and removes those of `replaced`.
int show_version(ArticledbDb* db, DB_TXN* txn, guint64 id, const ArticleRecords& records,
                 const std::vector<guint64>& replaced) {
  int ret = put(db->urldb, txn, id_item(&id), input_item(records.url_record), 0);
  if (ret == 0) {
    ret = put_new_pair(db->txtdb, txn, id_item(&id), input_item(records.text_record));
    ret = ret == DB_KEYEXIST ? 0 : ret;
  }
  return ret != 0 ? ret : remove_records(db, txn, replaced);
}

int put_version(ArticledbDb* db, guint64 id, const ArticleRecords& records, bool shown,
                const std::vector<guint64>& replaced) {
  return in_transaction(db->env, [&](DB_TXN* txn) {
    const int ret = put_keys(db, txn, id, records);
    return ret != 0 || !shown ? ret : show_version(db, txn, id, records, replaced);
  });
}

}  // namespace

int read_other_versions(ArticledbDb* db, std::string_view url, guint64 id, Reach reach,
                        OtherVersions* others) {
  std::vector<guint64> ids;
  int ret = read_ids_of_url(db, url, &ids);
  NewestFirst newest(&ids);
  size_t behind_shown = 0;
  guint64 other = 0;
  while (ret == 0 && (reach == Reach::ALL || behind_shown < FEW) && newest.next(&other)) {
    behind_shown += others->shown == 0 ? 0 : 1;
    if (other == id) {
      continue;
    }
    ret = find_record(db->urldb, other);
    if (ret == 0) {
      others->shown = std::max(others->shown, other);
    } else if (ret == DB_NOTFOUND) {
      ret = find_record(db->txtdb, other);
    }
    if (ret == 0) {
      others->ids.push_back(other);
    }
    ret = ret == DB_NOTFOUND ? 0 : ret;
  }
  return ret;
}

int find_shown(ArticledbDb* db, std::string_view url, guint64* id) {
  std::vector<guint64> ids;
  int ret = read_ids_of_url(db, url, &ids);
  if (ret != 0) {
    return ret;
  }
  NewestFirst newest(&ids);
  guint64 candidate = 0;
  ret = DB_NOTFOUND;
  while (ret == DB_NOTFOUND && newest.next(&candidate)) {
    ret = find_record(db->urldb, candidate);
  }
  if (ret == 0) {
    *id = candidate;
  }
  return ret;
}

int remove_records(ArticledbDb* db, DB_TXN* txn, const std::vector<guint64>& ids) {
  int ret = 0;
  for (auto id = ids.begin(); ret == 0 && id != ids.end(); ++id) {
    ret = remove_if_present(db->urldb, txn, id_item(&*id));
    if (ret == 0) {
      ret = remove_if_present(db->txtdb, txn, id_item(&*id));
    }
  }
  return ret;
}

int put_first_version(ArticledbDb* db, guint64 id, const ArticleRecords& records, bool* done) {
  OtherVersions others;
  const int ret = read_other_versions(db, records.url, id, Reach::NEWEST, &others);
  *done = ret == 0 && others.shown == 0;
  return *done ? put_version(db, id, records, true, others.ids) : ret;
}

int put_next_version(ArticledbDb* db, guint64 id, const ArticleRecords& records) {
  OtherVersions others;
  int ret = read_other_versions(db, records.url, id, Reach::NEWEST, &others);
  if (ret == 0) {
    ret = put_version(db, id, records, others.shown < id, others.ids);
  }
  return ret != 0 ? ret : db->env->log_flush(db->env, nullptr);
}

int remove_versions(ArticledbDb* db, std::string_view url) {
  OtherVersions versions;
  int ret = read_other_versions(db, url, 0, Reach::ALL, &versions);
  if (ret == 0 && versions.shown == 0) {
    return DB_NOTFOUND;
  }
  if (ret == 0) {
    ret =
        in_transaction(db->env, [&](DB_TXN* txn) { return remove_records(db, txn, versions.ids); });
  }
  return ret != 0 ? ret : db->env->log_flush(db->env, nullptr);
}

}  // namespace ostren::fenra::store
