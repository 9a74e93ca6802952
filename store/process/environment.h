// The Berkeley DB environment of a store handle with its nine databases: making,
// opening, closing, and getting rid of one that has become unusable. The caller
// holds the store's gate wherever an environment is opened, used or closed.
#ifndef FENRA_STORE_PROCESS_ENVIRONMENT_H
#define FENRA_STORE_PROCESS_ENVIRONMENT_H

#include <glib.h>

#include <cstdio>

#include "store/articledb.h"

namespace ostren::fenra::store {

enum class Recovery { NO, YES };

// The outcome of a sequence of numbered steps: the code of the first that
// failed, which has been reported through the environment.
class Steps {
 public:
  explicit Steps(DB_ENV* env) : env_(env) {}

  // Takes the code of a step; tells whether it failed.
  bool failed(int code, int step);

  int code() const { return code_; }

 private:
  DB_ENV* env_;
  int code_ = 0;
};

// The step of the environment's opening, in messages.
constexpr int OPEN_ENVIRONMENT_STEP = 98;

// Where an environment's messages go.
struct Messages {
  FILE* file;
  void (*call)(const DB_ENV*, const char*, const char*);
  const char* prefix;
};
Messages environment_messages(DB_ENV* env);
void environment_set_messages(DB_ENV* env, const Messages& messages);

// Makes and configures db->env. A handle that could not be made is not reported, any
// other failure is.
int environment_make(ArticledbDb* db);

// Opens the made environment in the directory, with recovery if asked for, and its
// databases. Adds what it has mapped to `regions`, a GArray of RegionMapping. *opened tells whether
// the environment itself is open. Failures are reported; what has been made stays.
int environment_open(ArticledbDb* db, const char* directory, Recovery recovery, GArray* regions,
                     bool* opened);

// Opens the made environment, shared with nobody, for reading the store in the directory, and its
// databases. A DB_CONFIG that cannot be used is left out of account. Failures are reported;
// what has been made stays.
int environment_open_read_only(ArticledbDb* db, const char* directory);

// Makes and opens the nine databases of the file in the open environment. Failures are
// reported; what has been made stays.
int environment_open_databases(ArticledbDb* db, const char* file, guint32 flags);

// Closes the databases and ignores failures.
void environment_close_databases(ArticledbDb* db);

// Closes what `db` has open, the databases first, and ignores failures.
void environment_discard(ArticledbDb* db);

// Lets go of an open environment that needs recovery, or has been recovered by
// somebody else, and takes it from whoever still uses it. Nothing in it can be
// closed in order: a process may have died in the middle of a change to the shared
// memory. The handles themselves, some 100 KiB, are never released.
void environment_abandon(ArticledbDb* db, GArray* regions);

// Deletes the log files that recovery no longer needs.
int environment_remove_logs(DB_ENV* env);

// Makes a checkpoint once 8 MiB of log have been written since the last one, and then removes
// logs: that bounds what recovery has to replay, and the room that the log takes.
int environment_checkpoint(DB_ENV* env);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_ENVIRONMENT_H
