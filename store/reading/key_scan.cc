#include "store/reading/key_scan.h"

#include <cerrno>
#include <cstring>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/memory.h"
#include "store/reading/read_memory.h"
#include "store/waiting/waiting_view.h"

namespace ostren::fenra::store {
namespace {

constexpr guint32 BULK_BYTES = 65536;

// A walk over the keys of a database, under the gate.
class KeyWalk {
 public:
  KeyWalk(ArticledbDb* db, DatabaseField database) : db_(db) {
    code_ = (db->*database)->cursor(db->*database, nullptr, &cursor_, 0);
  }
  ~KeyWalk() {
    if (cursor_ != nullptr) {
      cursor_->close(cursor_);
    }
  }
  KeyWalk(const KeyWalk&) = delete;
  KeyWalk& operator=(const KeyWalk&) = delete;

  // Goes to the next key; false at the end and after a failure. It is valid until the next read.
  bool next(std::string_view* key) {
    DBT item = {};
    DBT data = ignored_item();
    if (code_ == 0) {
      code_ = cursor_->get(cursor_, &item, &data, DB_NEXT_NODUP);
      *key = {static_cast<const char*>(item.data), item.size};
    }
    return code_ == 0;
  }

  // Visits the ids under the key that it stands on.
  template <typename Visit>
  void visit_ids(Visit visit) {
    DBT bulk = {};
    for (guint32 from = DB_CURRENT; read(from, &bulk); from = DB_NEXT_DUP) {
      void* position;
      DB_MULTIPLE_INIT(position, &bulk);
      for (;;) {
        void* data = nullptr;
        guint32 length = 0;
        DB_MULTIPLE_NEXT(position, &bulk, data, length);
        if (position == nullptr) {
          break;
        }
        guint64 id;
        if (length == sizeof id) {
          memcpy(&id, data, sizeof id);
          visit(id);
        }
      }
    }
  }

  // Of what failed; 0 when the walk has come to its end.
  int code() const { return code_ == DB_NOTFOUND ? 0 : code_; }

 private:
  // Reads the next ids of the key; false when there are none.
  bool read(guint32 from, DBT* bulk) {
    void* const buffer = db_->memory->reading->scratch(BULK_BYTES);
    code_ = buffer == nullptr ? ENOMEM : code_;
    if (code_ != 0) {
      return false;
    }
    DBT key = {};
    *bulk = output_item(buffer, BULK_BYTES);
    const int ret = cursor_->get(cursor_, &key, bulk, from | DB_MULTIPLE);
    code_ = ret == DB_NOTFOUND ? 0 : ret;
    return ret == 0;
  }

  ArticledbDb* const db_;
  DBC* cursor_ = nullptr;
  int code_ = 0;
};

}  // namespace

int scan_keys(ArticledbDb* db, DatabaseField database,
              const std::function<bool(std::string_view)>& wanted,
              void (*visit)(void* ids, guint64 id), void* ids, guint64* changes) {
  return read_in_gate(db, [&] {
    *changes = gate_changes(db);
    const WaitingView* waiting = nullptr;
    int ret = gate_waiting(db, &waiting);
    const guint64 base = waiting == nullptr ? G_MAXUINT64 : waiting->base();
    const auto visit_id = [&](guint64 id) { visit(ids, id); };
    KeyWalk walk(db, database);
    std::string_view key;
    while (ret == 0 && walk.next(&key)) {
      if (wanted(key)) {
        walk.visit_ids([&](guint64 id) {
          if (id <= base) {
            visit_id(id);
          }
        });
      }
    }
    if (ret == 0 && walk.code() == 0 && waiting != nullptr) {
      ret = status_of([&] { waiting->scan_keys(database, wanted, visit_id); });
    }
    return ret != 0 ? ret : walk.code();
  });
}

}  // namespace ostren::fenra::store
