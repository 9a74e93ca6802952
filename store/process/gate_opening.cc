// Coming to a store, and leaving it.
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "store/layout/db_config.h"
#include "store/process/copied_files.h"
#include "store/process/gate_state.h"
#include "store/process/ownership.h"

namespace ostren::fenra::store {
namespace {

// Handles whose processes have vanished outside the gate cost some locks each, and
// nobody waits for them; only many of them are worth a recovery.
constexpr int MAX_ABANDONED = 32;

// Takes a place that is free, or one that a vanished process has left occupied. It is the
// handle's turn: nobody else moves in.
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
    gate->file->require_recovery();
  }
  gate->file->set_occupied(gate->place, true);
}

int require_ownership(DB_ENV* env, const char* directory) {
  gchar* complaint = nullptr;
  const int ret = ownership_check(directory, &complaint);
  if (complaint != nullptr) {
    env->errx(env, "%s", complaint);
    g_free(complaint);
  }
  return ret;
}

int enter_directory(DB_ENV* env, const char* path, const Opening& opening, ArticledbGate* gate) {
  gate->directory.reset(realpath(path, nullptr));
  const char* const directory = gate->directory.get();
  if (directory == nullptr) {
    return errno;
  }
  bool alone = false;
  int ret = directory_lock_enter(directory, &gate->lock, &alone);
  if (ret == 0) {
    ret = require_ownership(env, directory);
  }
  if (ret == 0 && alone) {
    ret = adopt_files(directory, GateFile::origin(directory));
  }
  if (ret == 0) {
    ret = GateFile::open(directory, alone, db_config_fingerprint(directory), &gate->file);
  }
  if (ret == 0) {
    gate->reads_waiting = opening.reads_waiting;
    gate->waiting = opening.make_waiting(directory, gate->file.get());
    ret = gate->waiting == nullptr ? ENOMEM : 0;
  }
  return ret;
}

int open_store(ArticledbDb* db, int (*prepare)(ArticledbDb*)) {
  ArticledbGate* gate = db->gate;
  if (count_abandoned(gate) > MAX_ABANDONED) {
    gate->file->require_recovery();
  }
  const bool needs_recovery = gate->file->needs_recovery();
  int ret = open_environment(db);
  if (ret == DB_RUNRECOVERY || (ret != 0 && gate->file->was_clean() && !needs_recovery)) {
    ret = open_with_recovery(db);
  }
  if (ret == 0 && prepare != nullptr) {
    ret = prepare(db);
  }
  if (ret == 0) {
    ret = gate->reads_waiting ? look(db) : settle(db);
    // What waits goes on waiting, and who only reads can do so.
    ret = ret == ENOSPC ? 0 : ret;
  }
  return ret;
}

// What waits goes into segments, or with a handle that does not read it to the databases.
int empty_journal(ArticledbDb* db) {
  const ArticledbGate* gate = db->gate;
  return gate->reads_waiting ? gate->waiting->set_aside(db) : settle(db);
}

// The last one to leave, when nobody has left anything behind. Then nothing waits in the
// journal.
bool leaves_in_order(ArticledbDb* db, bool alone) {
  const ArticledbGate* gate = db->gate;
  if (!is_present(gate)) {
    return false;
  }
  gate->waiting->end_work(db);
  if (!alone || count_abandoned(gate) != 0) {
    return false;
  }
  int ret = empty_journal(db);
  if (ret == DB_RUNRECOVERY) {
    gate->file->require_recovery();
    ret = renew_environment(db);
    if (ret == 0) {
      ret = empty_journal(db);
    }
  }
  return ret == 0;
}

// Brings everything into the database file. On a full disk, too, who has only read leaves it as
// it was.
bool make_whole(ArticledbDb* db) {
  return (db->gate->file->unchanged() || db->env->txn_checkpoint(db->env, 0, 0, 0) == 0) &&
         db->gate->waiting->remove_journal() == 0;
}

int close_handles(ArticledbDb* db, const Closing& closing) {
  const int ret = closing.close_databases(db);
  return ret != 0 ? ret : closing.close_environment(db);
}

// Closes under the gate, in the handle's turn.
int leave_store(ArticledbDb* db, bool alone, const Closing& closing) {
  ArticledbGate* gate = db->gate;
  GateFile* file = gate->file.get();
  int ret = lock_gate(gate);
  if (ret != 0) {
    return ret;
  }
  if (gate->generation != 0 && !is_present(gate)) {
    renew_environment(db);
  }
  bool in_order = leaves_in_order(db, alone);
  ret = closing.close_databases(db);
  if (ret == 0) {
    in_order = in_order && make_whole(db);
    ret = closing.close_environment(db);
  }
  if (ret == DB_RUNRECOVERY) {
    file->require_recovery();
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

}  // namespace

int gate_open(ArticledbDb* db, const char* path, const Opening& opening) {
  Steps steps(db->env);
  std::unique_ptr<ArticledbGate> entered(new (std::nothrow) ArticledbGate);
  if (steps.failed(
          entered == nullptr ? ENOMEM : enter_directory(db->env, path, opening, entered.get()),
          OPEN_ENVIRONMENT_STEP)) {
    return steps.code();
  }
  ArticledbGate* gate = db->gate = entered.release();
  gate->messages = environment_messages(db->env);
  int ret = take_place(gate);
  if (ret == 0) {
    ret = lock_gate(gate);
  }
  if (!steps.failed(ret, OPEN_ENVIRONMENT_STEP)) {
    move_in(gate);
    ret = open_store(db, opening.prepare);
    gate->file->unlock();
  }
  directory_lock_end_turn(gate->lock);
  return ret;
}

int gate_open_read_only(ArticledbDb* db, const char* path,
                        std::unique_ptr<WaitingArticles> (*make_waiting)(const char* directory)) {
  Steps steps(db->env);
  std::unique_ptr<ArticledbGate> entered(new (std::nothrow) ArticledbGate);
  if (entered != nullptr) {
    entered->directory.reset(realpath(path, nullptr));
  }
  if (entered == nullptr || entered->directory == nullptr) {
    steps.failed(entered == nullptr ? ENOMEM : errno, OPEN_ENVIRONMENT_STEP);
    return steps.code();
  }
  gchar* complaint = nullptr;
  int ret = ReadOnlyStore::open(entered->directory.get(), &entered->read_only, &complaint);
  const GMemory<gchar> owner(complaint);
  if (ret != 0) {
    db->env->errx(db->env, "%s", complaint == nullptr ? "out of memory" : complaint);
    return ret;
  }
  ArticledbGate* const gate = db->gate = entered.release();
  gate->messages = environment_messages(db->env);
  gate->generation = 1;
  ret = environment_open_read_only(db, gate->directory.get());
  if (ret == 0) {
    gate->waiting = make_waiting(gate->directory.get());
    gate->reads_waiting = true;
    ret = gate->waiting == nullptr ? ENOMEM : gate->waiting->look(db);
  }
  // The databases have been opened by their path.
  if (ret == 0 && (!gate->read_only->is_unchanged() || !gate->read_only->is_in_place())) {
    ret = STATUS_STORE_CHANGED;
  }
  return ret;
}

int gate_close(ArticledbDb* db, const Closing& closing) {
  ArticledbGate* gate = db->gate;
  if (gate == nullptr) {
    return close_handles(db, closing);
  }
  if (gate->read_only != nullptr) {
    const int ret = close_handles(db, closing);
    if (ret == 0) {
      db->gate = nullptr;
      delete gate;
    }
    return ret;
  }
  if (!directory_lock_is_own(gate->lock)) {
    return EPERM;
  }
  bool alone = false;
  if (directory_lock_take_turn(gate->lock, &alone) != 0) {
    alone = false;
  }
  // Without a place nothing of the store has been opened.
  int ret = gate->place == -1 ? close_handles(db, closing) : leave_store(db, alone, closing);
  if (ret == 0) {
    db->gate = nullptr;
    delete gate;
  } else {
    directory_lock_end_turn(gate->lock);
  }
  return ret;
}

void gate_set_complete(ArticledbDb* db) { db->gate->file->set_complete(); }

}  // namespace ostren::fenra::store
