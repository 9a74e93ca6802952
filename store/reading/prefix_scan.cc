#include "store/reading/prefix_scan.h"

#include <cerrno>
#include <cstring>

#include "base/failed.h"
#include "store/layout/database.h"
#include "store/memory.h"
#include "store/process/gate.h"
#include "store/reading/read_memory.h"
#include "store/waiting/waiting_view.h"

namespace ostren::fenra::store {
namespace {

constexpr guint32 MAX_KEY_BYTES = TRIGRAM_BUILDER_TRIGRAM_SIZE;
constexpr guint32 BULK_BYTES = 65536;

class Scan {
 public:
  Scan(ArticledbDb* db, const char* prefix, guint32 length)
      : db_(db), prefix_(prefix), prefix_length_(length), key_length_(length) {
    memcpy(key_, prefix, length);
  }

  // Reads the next pairs. DB_NOTFOUND when there are no more.
  int read() {
    int ret = read_in_gate(db_, [this] { return fill(); });
    if (ret == DB_NOTFOUND && inside_key_) {
      go_behind_key();
      ret = read_in_gate(db_, [this] { return fill(); });
    }
    return ret;
  }

  // Calls `visit(id)` for what was read, up to `most`. Returns whether to go on.
  template <typename Visit>
  bool visit_pairs(guint64 most, Visit visit) {
    void* position;
    DB_MULTIPLE_INIT(position, &bulk_);
    const char* key = nullptr;
    guint32 key_length = 0;
    guint64 id = 0;
    for (;;) {
      void* next_key = nullptr;
      guint32 next_key_length = 0;
      void* data = nullptr;
      guint32 data_length = 0;
      DB_MULTIPLE_KEY_NEXT(position, &bulk_, next_key, next_key_length, data, data_length);
      if (position == nullptr) {
        break;
      }
      if (next_key_length > MAX_KEY_BYTES || next_key_length < prefix_length_ ||
          memcmp(next_key, prefix_, prefix_length_) != 0 || data_length != sizeof id) {
        return false;
      }
      key = static_cast<const char*>(next_key);
      key_length = next_key_length;
      memcpy(&id, data, sizeof id);
      if (id <= most) {
        visit(id);
      }
    }
    if (key == nullptr) {
      return false;
    }
    memcpy(key_, key, key_length);
    key_length_ = key_length;
    next_id_ = id + 1;
    inside_key_ = next_id_ != 0;
    if (!inside_key_) {
      go_behind_key();
    }
    return true;
  }

 private:
  // Fills the bulk from the place of the scan. Under the gate.
  int fill() {
    auto* buffer = static_cast<char*>(db_->memory->reading->scratch(BULK_BYTES));
    if (buffer == nullptr) {
      return ENOMEM;
    }
    DBT key = input_item(key_, key_length_);
    bulk_ = output_item(buffer, BULK_BYTES);
    if (inside_key_) {
      memcpy(buffer, &next_id_, sizeof next_id_);
      bulk_.size = sizeof next_id_;
    }
    const guint32 operation = inside_key_ ? DB_GET_BOTH_RANGE : DB_SET_RANGE;
    return get_with_cursor(db_->trigramdb, &key, &bulk_, operation | DB_MULTIPLE_KEY);
  }

  // To the least key that is greater than the present one.
  void go_behind_key() {
    key_[key_length_++] = '\0';
    inside_key_ = false;
  }

  ArticledbDb* const db_;
  const char* const prefix_;
  const guint32 prefix_length_;
  // The place: the first key not less than `key_`, or the first id not less than
  // `next_id_` under that very key.
  char key_[MAX_KEY_BYTES + 1];
  guint32 key_length_;
  guint64 next_id_ = 0;
  bool inside_key_ = false;
  DBT bulk_ = {};
};

}  // namespace

bool trigrams_may_wait(const ArticledbDb* db) { return gate_reads_waiting(db); }

int scan_trigrams(ArticledbDb* db, const char* prefix, guint32 length,
                  void (*visit)(void* ids, guint64 id), void* ids) {
  if (length > MAX_KEY_BYTES) {
    return EINVAL;
  }
  const auto visit_id = [&](guint64 id) { visit(ids, id); };
  const WaitingView* waiting = nullptr;
  int ret = gate_waiting(db, &waiting);
  if (ret != 0) {
    return ret;
  }
  // What is written out of the journal meanwhile may come in both.
  guint64 base = G_MAXUINT64;
  if (waiting != nullptr) {
    base = waiting->base();
    ret = status_of([&] { waiting->scan_trigrams({prefix, length}, visit_id); });
    if (ret != 0) {
      return ret;
    }
  }
  Scan scan(db, prefix, length);
  do {
    ret = scan.read();
  } while (ret == 0 && scan.visit_pairs(base, visit_id));
  return ret == DB_NOTFOUND || ret == DB_BUFFER_SMALL ? 0 : ret;
}

}  // namespace ostren::fenra::store
