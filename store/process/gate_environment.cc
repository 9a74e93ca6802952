// The environment of a gate's present generation, and what vanished processes have left in it.
#include "store/layout/db_config.h"
#include "store/process/gate_state.h"

namespace ostren::fenra::store {
namespace {

bool is_abandoned(const ArticledbGate* gate, int place) {
  return place != gate->place && gate->file->occupied(place) &&
         !directory_lock_is_taken(gate->lock, place);
}

}  // namespace

int lock_gate(ArticledbGate* gate) {
  return gate->place == -1 ? EINVAL : gate->file->lock(gate->lock, gate->place);
}

bool is_present(const ArticledbGate* gate) {
  return gate->generation == gate->file->generation() && !gate->file->needs_recovery();
}

int count_abandoned(const ArticledbGate* gate) {
  int count = 0;
  for (int place = 0; place < GateFile::PLACES; ++place) {
    count += is_abandoned(gate, place) ? 1 : 0;
  }
  return count;
}

void clear_abandoned(const ArticledbGate* gate) {
  for (int place = 0; place < GateFile::PLACES; ++place) {
    if (is_abandoned(gate, place)) {
      gate->file->set_occupied(place, false);
    }
  }
}

int open_environment(ArticledbDb* db) {
  ArticledbGate* gate = db->gate;
  const bool needs_recovery = gate->file->needs_recovery();
  if (needs_recovery) {
    gate->file->set_configuration(db_config_fingerprint(gate->directory.get()));
  }
  bool opened = false;
  const int ret =
      environment_open(db, gate->directory.get(), needs_recovery ? Recovery::YES : Recovery::NO,
                       gate->regions, &opened);
  if (ret != 0) {
    return ret;
  }
  gate->generation = gate->file->generation();
  gate->messages = environment_messages(db->env);
  if (needs_recovery) {
    gate->file->note_recovery();
    clear_abandoned(gate);
    environment_remove_logs(db->env);
  }
  return 0;
}

int open_with_recovery(ArticledbDb* db) {
  db->gate->file->require_recovery();
  environment_discard(db);
  g_array_set_size(db->gate->regions, 0);
  int ret = environment_make(db);
  if (ret == 0) {
    environment_set_messages(db->env, db->gate->messages);
    ret = open_environment(db);
  }
  return ret;
}

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

int settle(ArticledbDb* db) {
  const int ret = db->gate->waiting->settle(db);
  if (ret == DB_RUNRECOVERY) {
    db->gate->file->require_recovery();
  }
  return ret;
}

int look(ArticledbDb* db) {
  ArticledbGate* const gate = db->gate;
  const int ret = gate->waiting->look(db);
  if (ret == DB_RUNRECOVERY) {
    gate->file->require_recovery();
  }
  if (ret == 0) {
    gate->seen_changes = gate->file->changes();
    gate->seen_additions = gate->file->additions();
  }
  return ret;
}

}  // namespace ostren::fenra::store
