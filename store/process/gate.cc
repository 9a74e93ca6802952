#include "store/process/gate.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "store/layout/db_config.h"
#include "store/process/copied_files.h"
#include "store/process/directory_lock.h"
#include "store/process/environment.h"
#include "store/process/gate_file.h"
#include "store/process/ownership.h"
#include "store/process/regions.h"
#include "store/reading/list_cache.h"
#include "store/reading/record_cache.h"
#include "store/writing/journal.h"

using ostren::fenra::store::GateFile;
using ostren::fenra::store::Journal;

struct ArticledbGate {
  ~ArticledbGate() {
    ostren::fenra::store::directory_lock_release(lock);
    free(directory);
    g_free(scratch);
    g_array_free(regions, TRUE);
  }

  char* directory = nullptr;  // absolute: the host may change its own
  ArticledbDirectoryLock* lock = nullptr;
  std::unique_ptr<GateFile> file;
  std::unique_ptr<Journal> journal;
  int place = -1;
  guint64 generation = 0;   // of the environment in the handle; 0 for none
  bool incomplete = false;  // the present entry reads a store that lacks articles
  guint32 cursors = 0;      // of the handle, among those that the file counts
  guint64 bound = 0;        // the generation that operations are bound to; 0 for any
  ostren::fenra::store::Messages messages = {};  // of the handle's last environment
  GArray* regions = g_array_new(FALSE, FALSE, sizeof(ostren::fenra::store::RegionMapping));
  void* scratch = nullptr;
  guint32 scratch_size = 0;
  ostren::fenra::store::RecordCache url_records;
  ostren::fenra::store::ListCache lists;
};

namespace ostren::fenra::store {
namespace {

// ---- traces of processes that have vanished ----

bool is_abandoned(const ArticledbGate* gate, int place) {
  return place != gate->place && gate->file->occupied(place) &&
         !directory_lock_is_taken(gate->lock, place);
}

int count_abandoned(const ArticledbGate* gate) {
  int count = 0;
  for (int place = 0; place < GateFile::PLACES; ++place) {
    count += is_abandoned(gate, place) ? 1 : 0;
  }
  return count;
}

// Recovery has dropped what they held.
void clear_abandoned(const ArticledbGate* gate) {
  for (int place = 0; place < GateFile::PLACES; ++place) {
    if (is_abandoned(gate, place)) {
      gate->file->set_occupied(place, false);
    }
  }
}

// Takes a place that is free, or one that a vanished process has left occupied. The door is
// shut: nobody else moves in.
int take_place(ArticledbGate* gate) {
  for (const bool abandoned : {false, true}) {
    for (int place = 0; place < GateFile::PLACES; ++place) {
      if (gate->file->occupied(place) == abandoned && !directory_lock_is_taken(gate->lock, place)) {
        const int ret = directory_lock_take_place(gate->lock, place);
        gate->place = ret == 0 ? place : -1;
        return ret;
      }
    }
  }
  return EAGAIN;
}

// Under the gate.
void move_in(ArticledbGate* gate) {
  if (gate->file->occupied(gate->place)) {
    // What the one before has left in the environment goes.
    gate->file->condemn();
  }
  gate->file->set_occupied(gate->place, true);
}

// EINVAL for a handle whose opening found no place.
int lock_file(ArticledbGate* gate) {
  return gate->place == -1 ? EINVAL : gate->file->lock(gate->lock, gate->place);
}

// ---- the environment of the present generation ----

// Gives each of the caches of the handle an eighth of what the shared one has, or the least.
void set_rooms(ArticledbDb* db) {
  constexpr guint64 MOST_ROOM = guint64{1} << 30;
  guint32 gigabytes = 0;
  guint32 bytes = 0;
  int parts = 0;
  if (db->env->get_cachesize(db->env, &gigabytes, &bytes, &parts) != 0) {
    return;
  }
  const guint64 share = MIN(((guint64{gigabytes} << 30) + bytes) / 8, MOST_ROOM);
  guint32 room = LEAST_ROOM_BYTES;
  while (guint64{room} * 2 <= share) {
    room *= 2;
  }
  db->gate->url_records.set_room(room);
  db->gate->lists.set_room(room);
}

// After a failure what has been made stays.
int open_environment(ArticledbDb* db) {
  ArticledbGate* gate = db->gate;
  const bool condemned = gate->file->condemned();
  if (condemned) {
    gate->file->set_configuration(db_config_fingerprint(gate->directory));
  }
  bool opened = false;
  const int ret = environment_open(db, gate->directory, condemned ? Recovery::YES : Recovery::NO,
                                   gate->regions, &opened);
  if (ret != 0) {
    return ret;
  }
  gate->generation = gate->file->generation();
  gate->messages = environment_messages(db->env);
  set_rooms(db);
  if (condemned) {
    gate->file->absolve();
    clear_abandoned(gate);
    environment_remove_logs(db->env);
  }
  return 0;
}

// Opens the environment once more, with recovery, after an opening has failed.
int open_with_recovery(ArticledbDb* db) {
  db->gate->file->condemn();
  environment_discard(db);
  g_array_set_size(db->gate->regions, 0);
  int ret = environment_make(db);
  if (ret == 0) {
    environment_set_messages(db->env, db->gate->messages);
    ret = open_environment(db);
  }
  return ret;
}

// Replaces the handle's environment, which is of an earlier generation or none, by
// the present one. After a failure there is none.
int renew_environment(ArticledbDb* db) {
  ArticledbGate* gate = db->gate;
  if (gate->generation != 0) {
    gate->messages = environment_messages(db->env);
    environment_abandon(db, gate->regions);
    gate->generation = 0;
    gate->cursors = 0;
  }
  int ret = environment_make(db);
  if (ret == 0) {
    environment_set_messages(db->env, gate->messages);
    ret = open_environment(db);
  }
  if (ret == DB_RUNRECOVERY) {
    ret = open_with_recovery(db);
  }
  if (ret != 0) {
    environment_discard(db);
    g_array_set_size(gate->regions, 0);
  }
  return ret;
}

bool is_present(const ArticledbGate* gate) {
  return gate->generation == gate->file->generation() && !gate->file->condemned();
}

// ---- opening and closing ----

// Handles whose processes have vanished outside the gate cost some locks each, and
// nobody waits for them; only many of them are worth a recovery.
constexpr int MAX_ABANDONED = 32;

int require_ownership(DB_ENV* env, const char* directory) {
  gchar* complaint = nullptr;
  const int ret = ownership_check(directory, &complaint);
  if (complaint != nullptr) {
    env->errx(env, "%s", complaint);
    g_free(complaint);
  }
  return ret;
}

int enter_directory(DB_ENV* env, const char* path, ArticledbGate* gate) {
  gate->directory = realpath(path, nullptr);
  if (gate->directory == nullptr) {
    return errno;
  }
  bool alone = false;
  int ret = directory_lock_enter(gate->directory, &gate->lock, &alone);
  if (ret == 0) {
    ret = require_ownership(env, gate->directory);
  }
  if (ret == 0 && alone) {
    ret = adopt_files(gate->directory, GateFile::origin(gate->directory));
  }
  if (ret == 0) {
    ret =
        GateFile::open(gate->directory, alone, db_config_fingerprint(gate->directory), &gate->file);
  }
  if (ret == 0) {
    gate->journal.reset(new (std::nothrow) Journal(gate->directory, gate->file.get()));
    ret = gate->journal == nullptr ? ENOMEM : 0;
  }
  return ret;
}

int settle_journal(ArticledbDb* db, Access access) {
  Journal* journal = db->gate->journal.get();
  const int ret = access == Access::READ ? journal->settle_for_reader(db) : journal->settle(db);
  if (ret == DB_RUNRECOVERY) {
    db->gate->file->condemn();
  }
  return ret;
}

int open_store(ArticledbDb* db, int (*prepare)(ArticledbDb*)) {
  ArticledbGate* gate = db->gate;
  if (count_abandoned(gate) > MAX_ABANDONED) {
    gate->file->condemn();
  }
  const bool condemned = gate->file->condemned();
  int ret = open_environment(db);
  if (ret == DB_RUNRECOVERY || (ret != 0 && gate->file->was_clean() && !condemned)) {
    ret = open_with_recovery(db);
  }
  if (ret == 0 && prepare != nullptr) {
    ret = prepare(db);
  }
  if (ret == 0) {
    ret = settle_journal(db, Access::CHANGE);
    // What waits goes on waiting, and who only reads can do so.
    ret = ret == ENOSPC ? 0 : ret;
  }
  return ret;
}

// The last one to leave, when nobody has left anything behind. Then nothing waits in the
// journal.
bool leaves_in_order(ArticledbDb* db, bool alone) {
  const ArticledbGate* gate = db->gate;
  if (!alone || !is_present(gate) || count_abandoned(gate) != 0) {
    return false;
  }
  int ret = settle_journal(db, Access::CHANGE);
  if (ret == DB_RUNRECOVERY) {
    ret = renew_environment(db);
    if (ret == 0) {
      ret = settle_journal(db, Access::CHANGE);
    }
  }
  return ret == 0;
}

// Brings everything into the database file.
bool make_whole(ArticledbDb* db) {
  return db->env->txn_checkpoint(db->env, 0, 0, 0) == 0 && db->gate->journal->remove() == 0;
}

int close_handles(ArticledbDb* db, int (*close_databases)(ArticledbDb* db),
                  int (*close_environment)(ArticledbDb* db)) {
  const int ret = close_databases(db);
  return ret != 0 ? ret : close_environment(db);
}

// Closes under the gate. The door is shut.
int leave_store(ArticledbDb* db, bool alone, int (*close_databases)(ArticledbDb* db),
                int (*close_environment)(ArticledbDb* db)) {
  ArticledbGate* gate = db->gate;
  GateFile* file = gate->file.get();
  int ret = lock_file(gate);
  if (ret != 0) {
    return ret;
  }
  if (gate->generation != 0 && !is_present(gate)) {
    renew_environment(db);
  }
  bool in_order = leaves_in_order(db, alone);
  ret = close_databases(db);
  if (ret == 0) {
    // On a full disk, too, who has only read leaves the store as it was.
    in_order = in_order && (file->unchanged() || make_whole(db));
    ret = close_environment(db);
  }
  if (ret == DB_RUNRECOVERY) {
    file->condemn();
  }
  if (ret == 0) {
    if (in_order) {
      file->set_clean();
    }
    file->set_cursors(file->cursors() - gate->cursors);
    file->set_occupied(gate->place, false);
  }
  file->unlock();
  return ret;
}

// Runs `call` unless a host has cursors open. Those of a process that is gone go with the
// environment.
template <typename Call>
int run_for_journal(ArticledbDb* db, Call call) {
  return run_in_gate(
      db,
      [&] {
        const ArticledbGate* gate = db->gate;
        if (gate->file->cursors() != 0) {
          return count_abandoned(gate) != 0 ? DB_RUNRECOVERY : Journal::DECLINED;
        }
        return call(gate->journal.get());
      },
      Access::APPEND);
}

}  // namespace

int gate_enter(ArticledbDb* db, Access access) {
  ArticledbGate* gate = db->gate;
  if (gate == nullptr) {
    return EINVAL;
  }
  if (!directory_lock_is_own(gate->lock)) {
    return EPERM;
  }
  int ret = lock_file(gate);
  if (ret != 0) {
    return ret;
  }
  if (!is_present(gate)) {
    ret = renew_environment(db);
  }
  if (ret == 0 && gate->bound != 0 && gate->bound != gate->generation) {
    ret = WRITES_LOST;
  }
  if (ret == 0 && access != Access::APPEND) {
    ret = settle_journal(db, access);
    // On a full disk there is an answer without the articles that wait.
    gate->incomplete = ret == ENOSPC && access == Access::READ;
    if (gate->incomplete) {
      ret = 0;
    }
  }
  if (ret != 0) {
    gate->file->unlock();
    return ret;
  }
  if (access != Access::READ) {
    gate->file->count_change();
  }
  if (access == Access::CHANGE) {
    gate->file->count_replacement();
    gate->journal->forget_last_id();
  }
  return 0;
}

void gate_leave(ArticledbDb* db, int code) {
  GateFile* file = db->gate->file.get();
  if (code == DB_RUNRECOVERY) {
    file->condemn();
  }
  if (db->gate->incomplete) {
    // Nothing of what has been read may be kept.
    file->count_change();
    db->gate->incomplete = false;
  }
  file->unlock();
}

bool Retries::again(ArticledbDb* db, int code) {
  constexpr int MAX_REFUSALS = 32;
  constexpr gulong WAIT_MICROSECONDS = 1000;
  constexpr int MAX_RECOVERIES = 2;
  if (code == DB_RUNRECOVERY) {
    return recoveries_++ < MAX_RECOVERIES;
  }
  if ((code != DB_LOCK_DEADLOCK && code != DB_LOCK_NOTGRANTED) || refusals_ == MAX_REFUSALS) {
    return false;
  }
  // The cursor in the way may be that of a process that is gone.
  GateFile* file = db->gate->file.get();
  if (++refusals_ == 1 && lock_file(db->gate) == 0) {
    if (count_abandoned(db->gate) > 0) {
      file->condemn();
    }
    file->unlock();
  }
  g_usleep(static_cast<gulong>(refusals_) * WAIT_MICROSECONDS);
  return true;
}

guint64 gate_changes(const ArticledbDb* db) { return db->gate->file->changes(); }

guint64 gate_replacements(const ArticledbDb* db) { return db->gate->file->replacements(); }

guint64 gate_generation(const ArticledbDb* db) {
  return db->gate == nullptr ? 0 : db->gate->generation;
}

Binding::Binding(ArticledbDb* db, guint64 generation) : db_(db) { db->gate->bound = generation; }

Binding::~Binding() { db_->gate->bound = 0; }

int gate_admits_articles(ArticledbDb* db) {
  return run_for_journal(db, [db](Journal* journal) { return journal->admits(db); });
}

int gate_append_article(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) {
  return run_for_journal(db,
                         [&](Journal* journal) { return journal->append(db, record, growth, id); });
}

void gate_cursor_opened(ArticledbDb* db) {
  ++db->gate->cursors;
  db->gate->file->set_cursors(db->gate->file->cursors() + 1);
}

void gate_cursor_closed(ArticledbDb* db) {
  --db->gate->cursors;
  db->gate->file->set_cursors(db->gate->file->cursors() - 1);
}

void* gate_scratch(ArticledbDb* db, guint32 size) {
  ArticledbGate* gate = db->gate;
  if (gate->scratch_size < size) {
    g_free(gate->scratch);
    gate->scratch = g_try_malloc(size);
    gate->scratch_size = gate->scratch == nullptr ? 0 : size;
  }
  return gate->scratch;
}

ListCache* gate_lists(ArticledbDb* db) { return db->gate == nullptr ? nullptr : &db->gate->lists; }

RecordCache* gate_url_records(ArticledbDb* db) {
  return db->gate == nullptr ? nullptr : &db->gate->url_records;
}

int get_record(ArticledbDb* db, DatabaseField database, DBT key, DBT* data, guint32 flags) {
  return read_in_gate(db, [&] {
    DB* handle = db->*database;
    return handle->get(handle, nullptr, &key, data, flags);
  });
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

int gate_open(ArticledbDb* db, const char* path, int (*prepare)(ArticledbDb* db)) {
  Steps steps(db->env);
  std::unique_ptr<ArticledbGate> entered(new (std::nothrow) ArticledbGate);
  if (steps.failed(entered == nullptr ? ENOMEM : enter_directory(db->env, path, entered.get()),
                   OPEN_ENVIRONMENT_STEP)) {
    return steps.code();
  }
  ArticledbGate* gate = db->gate = entered.release();
  gate->messages = environment_messages(db->env);
  int ret = take_place(gate);
  if (ret == 0) {
    ret = lock_file(gate);
  }
  if (!steps.failed(ret, OPEN_ENVIRONMENT_STEP)) {
    move_in(gate);
    ret = open_store(db, prepare);
    gate->file->unlock();
  }
  directory_lock_open_door(gate->lock);
  return ret;
}

int gate_close(ArticledbDb* db, int (*close_databases)(ArticledbDb* db),
               int (*close_environment)(ArticledbDb* db)) {
  ArticledbGate* gate = db->gate;
  if (gate == nullptr) {
    return close_handles(db, close_databases, close_environment);
  }
  if (!directory_lock_is_own(gate->lock)) {
    return EPERM;
  }
  bool alone = false;
  if (directory_lock_shut_door(gate->lock, &alone) != 0) {
    alone = false;
  }
  // Without a place nothing of the store has been opened.
  int ret = gate->place == -1 ? close_handles(db, close_databases, close_environment)
                              : leave_store(db, alone, close_databases, close_environment);
  if (ret == 0) {
    db->gate = nullptr;
    delete gate;
  } else {
    directory_lock_open_door(gate->lock);
  }
  return ret;
}

void gate_set_complete(ArticledbDb* db) { db->gate->file->set_complete(); }

}  // namespace ostren::fenra::store
