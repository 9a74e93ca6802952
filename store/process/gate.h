// The gate of a store: the one lock, shared by all processes, under which every
// call of Berkeley DB is made. docs/reliability.md has the design.
//
// A process that dies under the lock leaves it to the next one, which recovers the
// environment; everybody else then finds that the environment has been built anew
// and joins it. So a store handle's env and database fields change whenever the gate
// is entered: they are fetched after that, never kept across it.
#ifndef FENRA_STORE_PROCESS_GATE_H
#define FENRA_STORE_PROCESS_GATE_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>

#include "store/articledb.h"
#include "store/process/gate_file.h"
#include "store/process/waiting_articles.h"

namespace ostren::fenra::store {

// ---- one operation ----

// What an operation is going to do inside: read what the store holds; read the databases, which
// are to hold all of it; change them; or only add to the journal.
enum class Access { READ, READ_DATABASES, CHANGE, APPEND };

// Enters the gate. On success db->env and the databases are open and in order until
// gate_leave. Articles may wait in the journal for Access::APPEND, and for Access::READ with a
// handle that reads what waits: gate_waiting() has them then, as they are. A thread enters
// once at a time. On failure the gate has not been entered: the code of a recovery, an
// opening or a write of articles that failed, which has been reported and which the next
// entry tries again.
//
// A store that is open for reading only has no gate: EROFS for what does not read;
// STATUS_STORE_CHANGED when somebody has written to it.
int gate_enter(ArticledbDb* db, Access access);

// Leaves it with the code of what was done, and returns it. After DB_RUNRECOVERY the environment
// needs recovery: whoever enters next recovers it. STATUS_STORE_CHANGED instead of the code when
// what was read of a store that is open for reading only is not to be trusted.
int gate_leave(ArticledbDb* db, int code);

// What a failed operation has to wait for before it is tried again.
class Retries {
 public:
  // Takes the outcome of a try, outside the gate. Tells whether to make another one,
  // for which it may have waited.
  bool again(ArticledbDb* db, int code);

 private:
  int refusals_ = 0;
  int recoveries_ = 0;
};

// Runs `call` under the gate and returns its code. It runs again, from the start,
//  - while Berkeley DB refuses it a lock, which only a cursor can hold that a host
//    keeps positioned: for half a second, then the code is returned;
//  - when the environment needs recovery, which takes place in between.
template <typename Call>
int run_in_gate(ArticledbDb* db, Call call, Access access = Access::CHANGE) {
  Retries retries;
  int ret;
  do {
    ret = gate_enter(db, access);
    if (ret == 0) {
      ret = call();
      ret = gate_leave(db, ret);
    }
  } while (retries.again(db, ret));
  return ret;
}

// The same for what leaves the store as it is.
template <typename Call>
int read_in_gate(ArticledbDb* db, Call call) {
  return run_in_gate(db, call, Access::READ);
}

// The same for who reads the databases past the library, or stays in them.
template <typename Call>
int read_databases_in_gate(ArticledbDb* db, Call call) {
  return run_in_gate(db, call, Access::READ_DATABASES);
}

// A number that is another one whenever anything in the databases may have changed since,
// by whatever process; read without entering. What was read under the gate still
// holds as long as the number is the one that it was there. The store has been opened.
guint64 gate_changes(const ArticledbDb* db);

// The same for what waits in the journal.
guint64 gate_additions(const ArticledbDb* db);

// A number that is another one whenever a URL record that had been read may have been
// changed or removed since. Under the gate.
guint64 gate_replacements(const ArticledbDb* db);

// Whether the store is open for reading only.
bool gate_only_reads(const ArticledbDb* db);

// The number of the environment's build that the handle has open, as of the last
// entry; 0 when none is.
guint64 gate_generation(const ArticledbDb* db);

// Result of an operation that was bound to an earlier build of the environment.
constexpr int WRITES_LOST = -1001;

// Binds the handle's operations, as long as this lives, to one build of the
// environment. Writes that are not on disk yet are lost between one build and the
// next, and with them the ids that were drawn; so an operation that comes too late does
// nothing and gives WRITES_LOST.
class Binding {
 public:
  Binding(ArticledbDb* db, guint64 generation);
  ~Binding();
  Binding(const Binding&) = delete;
  Binding& operator=(const Binding&) = delete;

 private:
  ArticledbDb* const db_;
};

// ---- articles that wait ----

// Has the handle read what waits, rather than have it written to the databases first.
void gate_read_waiting(ArticledbDb* db);

bool gate_reads_waiting(const ArticledbDb* db);

// What waits, as it is now or, under the gate, as it was when that was entered; null for a handle
// for which nothing waits. Valid until the gate is entered. Enters the gate when something has
// changed. Returns 0 or the code of what failed.
int gate_waiting(ArticledbDb* db, const WaitingView** waiting);

// Whether an article that is indexed now can go to the journal: 0; DECLINED, when
// it has to be written to the databases; or the code of what failed. A host's cursor that is
// positioned would stand in the way of writing the articles later, when somebody wants to
// read, so there is no waiting for as long as there are such cursors.
int gate_admits_articles(ArticledbDb* db);

// Adds an article: WaitingArticles::append; one that no record can hold; and a removal.
int gate_append_article(ArticledbDb* db, std::string* record, guint64 growth, guint64* id);
int gate_append_large(ArticledbDb* db, std::string_view url, ArticleEntries* entries, guint64* id);
int gate_append_removal(ArticledbDb* db, std::string_view url);

// Counts a Berkeley DB cursor that stays open between two entries into the gate; under it.
void gate_cursor_opened(ArticledbDb* db);
void gate_cursor_closed(ArticledbDb* db);

// ---- one record ----

using DatabaseField = DB* ArticledbDb::*;

// Of the database as it is to be when nothing waits.
int get_record(ArticledbDb* db, DatabaseField database, DBT key, DBT* data, guint32 flags);
int put_record(ArticledbDb* db, DatabaseField database, DBT key, DBT data, guint32 flags);
int delete_records(ArticledbDb* db, DatabaseField database, DBT key);

// ---- opening and closing ----

struct Opening {
  // Makes what keeps the articles that wait; the arguments outlive it. Null when memory is
  // short.
  std::unique_ptr<WaitingArticles> (*make_waiting)(const char* directory, GateFile* file);
  // The handle reads what waits.
  bool reads_waiting;
  // Null, or runs under the gate before anybody else gets at the store.
  int (*prepare)(ArticledbDb* db);
};

// Opens the store in `path` with the handle's made environment; whoever comes first
// recovers it unless it was closed in order. Failures are reported; what has been made
// stays in `db` for the closing.
int gate_open(ArticledbDb* db, const char* path, const Opening& opening);

// Opens the store in `path` for reading only, with the handle's made environment:
// articledb_db_open_read_only. Failures are reported; what has been made stays in `db` for
// the closing. `make_waiting` as in Opening.
int gate_open_read_only(ArticledbDb* db, const char* path,
                        std::unique_ptr<WaitingArticles> (*make_waiting)(const char* directory));

struct Closing {
  int (*close_databases)(ArticledbDb* db);
  int (*close_environment)(ArticledbDb* db);
};

// Runs both in turn under the gate, and releases the gate when they succeed. Before them the
// last one to leave takes what waits out of the journal, and in between makes a checkpoint, so that
// the next one has nothing to recover. Without a gate only runs them.
int gate_close(ArticledbDb* db, const Closing& closing);

// Notes that the store has its id counter on disk. Under the gate.
void gate_set_complete(ArticledbDb* db);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_GATE_H
