// The gate of one handle, for the files that make it up.
#ifndef FENRA_STORE_PROCESS_GATE_STATE_H
#define FENRA_STORE_PROCESS_GATE_STATE_H

#include <glib.h>

#include <memory>

#include "base/handles.h"
#include "store/articledb.h"
#include "store/process/directory_lock.h"
#include "store/process/environment.h"
#include "store/process/gate.h"
#include "store/process/gate_file.h"
#include "store/process/read_only_store.h"
#include "store/process/regions.h"
#include "store/process/waiting_articles.h"

struct ArticledbGate {
  ~ArticledbGate() {
    ostren::fenra::store::directory_lock_release(lock);
    g_array_free(regions, TRUE);
  }

  ostren::fenra::CMemory<char> directory;  // absolute: the host may change its own
  ArticledbDirectoryLock* lock = nullptr;
  // Of a store that is open for reading only; then there is no lock, no file and no place.
  std::unique_ptr<ostren::fenra::store::ReadOnlyStore> read_only;
  std::unique_ptr<ostren::fenra::store::GateFile> file;
  std::unique_ptr<ostren::fenra::store::WaitingArticles> waiting;
  int place = -1;
  guint64 generation = 0;              // of the environment in the handle; 0 for none
  bool reads_waiting = false;          // the handle reads what waits
  bool looks = false;                  // the present entry does
  guint64 seen_changes = G_MAXUINT64;  // of which `waiting` knows
  guint64 seen_additions = 0;          // the same
  bool incomplete = false;             // the present entry reads a store that lacks articles
  guint32 cursors = 0;                 // of the handle, among those that the file counts
  guint64 bound = 0;                   // the generation that operations are bound to; 0 for any
  ostren::fenra::store::Messages messages = {};  // of the handle's last environment
  GArray* regions =                              // of RegionMapping
      g_array_new(FALSE, FALSE, sizeof(ostren::fenra::store::RegionMapping));
};

namespace ostren::fenra::store {

// EINVAL for a handle whose opening found no place. Otherwise as GateFile::lock.
int lock_gate(ArticledbGate* gate);

// The rest is used under the gate.

// The handle's environment is the present one.
bool is_present(const ArticledbGate* gate);

// Opens the handle's made environment, with recovery when it needs that. After a failure
// what has been made stays.
int open_environment(ArticledbDb* db);

// Opens it once more, with recovery, after an opening has failed.
int open_with_recovery(ArticledbDb* db);

// Replaces the handle's environment, which is of an earlier generation or none, by the
// present one. After a failure there is none.
int renew_environment(ArticledbDb* db);

// Has the articles that wait written to the databases.
int settle(ArticledbDb* db);

// Has them known.
int look(ArticledbDb* db);

// ---- traces of processes that have vanished ----

// Places that a vanished process has left occupied.
int count_abandoned(const ArticledbGate* gate);

// Recovery has dropped what they held.
void clear_abandoned(const ArticledbGate* gate);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_GATE_STATE_H
