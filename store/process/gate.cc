#include "store/process/gate.h"

#include <cerrno>

#include "store/process/gate_state.h"

namespace ostren::fenra::store {
namespace {

// Runs `call` unless a host has cursors open. Those of a process that is gone go with the
// environment.
template <typename Call>
int run_for_waiting(ArticledbDb* db, Call call) {
  return run_in_gate(
      db,
      [&] {
        const ArticledbGate* gate = db->gate;
        if (gate->file->cursors() != 0) {
          return count_abandoned(gate) != 0 ? DB_RUNRECOVERY : DECLINED;
        }
        return call(gate->waiting.get());
      },
      Access::APPEND);
}

// For a store that is open for reading only. Tells of it once.
int look_for_changes(ArticledbDb* db) {
  ReadOnlyStore* const store = db->gate->read_only.get();
  const bool known = store->changes() != 0;
  if (store->is_unchanged()) {
    return 0;
  }
  if (!known) {
    db->env->errx(db->env,
                  "%s: somebody has written to it since it was opened for reading only; open it "
                  "again",
                  db->gate->directory.get());
  }
  return STATUS_STORE_CHANGED;
}

bool reads(Access access) { return access == Access::READ || access == Access::READ_DATABASES; }

// Has what waits known or written, as the access needs it.
int see_to_waiting(ArticledbDb* db, Access access) {
  ArticledbGate* const gate = db->gate;
  gate->looks = access == Access::READ && gate->reads_waiting;
  if (access == Access::APPEND) {
    return 0;
  }
  const int ret = gate->looks ? look(db) : settle(db);
  // On a full disk there is an answer without the articles that wait.
  gate->incomplete = ret == ENOSPC && reads(access);
  return gate->incomplete ? 0 : ret;
}

}  // namespace

int gate_enter(ArticledbDb* db, Access access) {
  ArticledbGate* gate = db->gate;
  if (gate == nullptr) {
    return EINVAL;
  }
  if (gate->read_only != nullptr) {
    const int ret = reads(access) ? look_for_changes(db) : EROFS;
    return ret == 0 && access == Access::READ_DATABASES ? settle(db) : ret;
  }
  if (!directory_lock_is_own(gate->lock)) {
    return EPERM;
  }
  int ret = lock_gate(gate);
  if (ret != 0) {
    return ret;
  }
  if (!is_present(gate)) {
    ret = renew_environment(db);
  }
  if (ret == 0 && gate->bound != 0 && gate->bound != gate->generation) {
    ret = WRITES_LOST;
  }
  if (ret == 0) {
    ret = see_to_waiting(db, access);
  }
  if (ret != 0) {
    gate->file->unlock();
    return ret;
  }
  if (access == Access::APPEND) {
    gate->file->count_addition();
  }
  if (access == Access::CHANGE) {
    gate->file->count_change();
    gate->file->count_replacement();
    gate->waiting->forget_last_id();
  }
  return 0;
}

int gate_leave(ArticledbDb* db, int code) {
  if (db->gate->read_only != nullptr) {
    const int ret = look_for_changes(db);
    return ret != 0 ? ret : code;
  }
  GateFile* file = db->gate->file.get();
  if (code == DB_RUNRECOVERY) {
    file->require_recovery();
  }
  if (db->gate->incomplete) {
    // Nothing of what has been read may be kept.
    file->count_change();
    db->gate->incomplete = false;
  }
  file->unlock();
  return code;
}

bool Retries::again(ArticledbDb* db, int code) {
  constexpr int MAX_REFUSALS = 32;
  constexpr gulong WAIT_MICROSECONDS = 1000;
  constexpr int MAX_RECOVERIES = 2;
  if (gate_only_reads(db)) {
    return false;
  }
  if (code == DB_RUNRECOVERY) {
    return recoveries_++ < MAX_RECOVERIES;
  }
  if ((code != DB_LOCK_DEADLOCK && code != DB_LOCK_NOTGRANTED) || refusals_ == MAX_REFUSALS) {
    return false;
  }
  // The cursor in the way may be that of a process that is gone.
  GateFile* file = db->gate->file.get();
  if (++refusals_ == 1 && lock_gate(db->gate) == 0) {
    if (count_abandoned(db->gate) > 0) {
      file->require_recovery();
    }
    file->unlock();
  }
  g_usleep(static_cast<gulong>(refusals_) * WAIT_MICROSECONDS);
  return true;
}

guint64 gate_changes(const ArticledbDb* db) {
  const ArticledbGate* gate = db->gate;
  return gate->read_only != nullptr ? gate->read_only->changes() : gate->file->changes();
}

guint64 gate_additions(const ArticledbDb* db) {
  const ArticledbGate* gate = db->gate;
  return gate->read_only != nullptr ? 0 : gate->file->additions();
}

guint64 gate_replacements(const ArticledbDb* db) {
  const ArticledbGate* gate = db->gate;
  return gate->read_only != nullptr ? gate->read_only->changes() : gate->file->replacements();
}

bool gate_only_reads(const ArticledbDb* db) {
  return db->gate != nullptr && db->gate->read_only != nullptr;
}

guint64 gate_generation(const ArticledbDb* db) {
  return db->gate == nullptr ? 0 : db->gate->generation;
}

Binding::Binding(ArticledbDb* db, guint64 generation) : db_(db) { db->gate->bound = generation; }

Binding::~Binding() { db_->gate->bound = 0; }

void gate_read_waiting(ArticledbDb* db) { db->gate->reads_waiting = true; }

bool gate_reads_waiting(const ArticledbDb* db) {
  return db->gate != nullptr && db->gate->reads_waiting;
}

int gate_waiting(ArticledbDb* db, const WaitingView** waiting) {
  ArticledbGate* const gate = db->gate;
  *waiting = nullptr;
  if (!gate_reads_waiting(db)) {
    return 0;
  }
  if (gate->read_only != nullptr) {
    *waiting = &gate->waiting->view();
    return 0;
  }
  if (gate->file->is_locked_by_thread()) {
    *waiting = gate->looks ? &gate->waiting->view() : nullptr;
    return 0;
  }
  int ret = 0;
  if (gate->seen_changes != gate->file->changes() ||
      gate->seen_additions != gate->file->additions()) {
    ret = read_in_gate(db, [] { return 0; });
  }
  *waiting = &gate->waiting->view();
  return ret;
}

int gate_admits_articles(ArticledbDb* db) {
  return run_for_waiting(db, [db](WaitingArticles* waiting) { return waiting->admits(db); });
}

int gate_append_article(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) {
  return run_for_waiting(
      db, [&](WaitingArticles* waiting) { return waiting->append(db, record, growth, id); });
}

int gate_append_large(ArticledbDb* db, std::string_view url, ArticleEntries* entries, guint64* id) {
  return run_for_waiting(
      db, [&](WaitingArticles* waiting) { return waiting->append_large(db, url, entries, id); });
}

int gate_append_removal(ArticledbDb* db, std::string_view url) {
  return run_for_waiting(
      db, [&](WaitingArticles* waiting) { return waiting->append_removal(db, url); });
}

void gate_cursor_opened(ArticledbDb* db) {
  if (db->gate->read_only != nullptr) {
    return;
  }
  ++db->gate->cursors;
  db->gate->file->set_cursors(db->gate->file->cursors() + 1);
}

void gate_cursor_closed(ArticledbDb* db) {
  if (db->gate->read_only != nullptr) {
    return;
  }
  --db->gate->cursors;
  db->gate->file->set_cursors(db->gate->file->cursors() - 1);
}

int get_record(ArticledbDb* db, DatabaseField database, DBT key, DBT* data, guint32 flags) {
  return run_in_gate(
      db,
      [&] {
        DB* handle = db->*database;
        return handle->get(handle, nullptr, &key, data, flags);
      },
      Access::READ_DATABASES);
}

int put_record(ArticledbDb* db, DatabaseField database, DBT key, DBT data, guint32 flags) {
  return run_in_gate(db, [&] {
    DB* handle = db->*database;
    return handle->put(handle, nullptr, &key, &data, flags);
  });
}

int delete_records(ArticledbDb* db, DatabaseField database, DBT key) {
  return run_in_gate(db, [&] {
    DB* handle = db->*database;
    return handle->del(handle, nullptr, &key, 0);
  });
}

}  // namespace ostren::fenra::store
