// The store handle: environment, schema, statistics and logs.
#undef NDEBUG
#include "store/articledb.h"

#include <glib/gstdio.h>
#include <sys/stat.h>

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "store/database.h"
#include "store/directory_lock.h"

using ostren::fenra::store::directory_lock_enter;
using ostren::fenra::store::directory_lock_open_gate;
using ostren::fenra::store::directory_lock_release;
using ostren::fenra::store::ID_COUNTER_KEY;
using ostren::fenra::store::input_item;
using ostren::fenra::store::MODULE;
using ostren::fenra::store::output_item;
using ostren::fenra::store::put_record;
using ostren::fenra::store::retry_deadlock;

namespace {

// ---- schema ----

// On disk: the file of the nine databases.
constexpr char DATABASE_FILE[] = "fenra.index";

// On disk. The library's default follows the file system's block; with small
// pages the environment runs out of mutexes.
constexpr guint32 PAGE_BYTES = 4096;

// How the data items under one key are kept.
enum class Duplicates { NONE, BYTEWISE, NUMERIC };

struct DatabaseSpec {
  DB* ArticledbDb::*field;
  const char* name;  // on disk
  DBTYPE type;
  Duplicates duplicates;
  // Number in messages of the first step, the making of the handle. The steps that
  // the database needs after it count on from there: page size, duplicates,
  // comparison, opening.
  int step;
};

// In the order of making them.
constexpr DatabaseSpec DATABASES[] = {
    {&ArticledbDb::urldb, "urldb", DB_HASH, Duplicates::NONE, 101},
    {&ArticledbDb::urlidx, "urlidx", DB_HASH, Duplicates::BYTEWISE, 106},
    {&ArticledbDb::datedb, "datedb", DB_HASH, Duplicates::NUMERIC, 113},
    {&ArticledbDb::sourcedb, "sourcedb", DB_HASH, Duplicates::NUMERIC, 120},
    {&ArticledbDb::txtdb, "txtdb", DB_HASH, Duplicates::BYTEWISE, 127},
    {&ArticledbDb::lemmadb, "lemmadb", DB_HASH, Duplicates::BYTEWISE, 133},
    {&ArticledbDb::formdb, "formdb", DB_HASH, Duplicates::NUMERIC, 139},
    {&ArticledbDb::trigramdb, "trigramdb", DB_BTREE, Duplicates::NUMERIC, 146},
    {&ArticledbDb::iddb, "iddb", DB_HASH, Duplicates::NONE, 153},
};

// The duplicate order of ids: ascending numbers.
int guint64_dbt_cmp(DB*, const DBT* dbta, const DBT* dbtb) {
  assert(dbta->size == sizeof(guint64));
  assert(dbtb->size == sizeof(guint64));
  guint64 a;
  guint64 b;
  memcpy(&a, dbta->data, sizeof a);
  memcpy(&b, dbtb->data, sizeof b);
  return a < b ? -1 : a > b ? 1 : 0;
}

// ---- creating and opening ----

constexpr guint32 CACHE_BYTES = 10 * 1024 * 1024;
constexpr guint32 MAX_LOCKS = 20000;
constexpr guint32 LOG_BUFFER_BYTES = 2 * 1024 * 1024;
constexpr guint32 MAX_MUTEXES = 100000;

// The outcome of a sequence of numbered steps: the code of the first that
// failed, which has been reported through the environment.
class Steps {
 public:
  explicit Steps(DB_ENV* env) : env_(env) {}

  // Takes the code of a step; tells whether it failed.
  bool failed(int code, int step) {
    code_ = code;
    if (code != 0) {
      env_->err(env_, code, "articledb_create error %s:%d.", MODULE, step);
    }
    return code != 0;
  }

  int code() const { return code_; }

 private:
  DB_ENV* env_;
  int code_ = 0;
};

// An environment is open exactly while its handle is present in the directory.
void leave_directory(ArticledbDb* db) {
  directory_lock_release(db->lock);
  db->lock = nullptr;
}

int create_env_directories(const char* path) { return mkdir(path, 0700) == 0 ? 0 : -1; }

// Puts of an article are not synced one by one: articledb_db_index flushes the
// log before it reports success.
int configure_environment(DB_ENV* env) {
  Steps steps(env);
  steps.failed(env->set_cachesize(env, 0, CACHE_BYTES, 1), 87) ||
      steps.failed(env->set_lk_max_locks(env, MAX_LOCKS), 88) ||
      steps.failed(env->set_lk_max_objects(env, MAX_LOCKS), 89) ||
      steps.failed(env->set_lk_detect(env, DB_LOCK_DEFAULT), 90) ||
      steps.failed(env->mutex_set_max(env, MAX_MUTEXES), 91) ||
      steps.failed(env->set_flags(env, DB_TXN_NOSYNC, 1), 92) ||
      steps.failed(env->set_lg_bsize(env, LOG_BUFFER_BYTES), 97);
  return steps.code();
}

// Whoever is alone in the directory repairs what a killed predecessor may have
// left: stale locks, and pages behind or ahead of the log. Running recovery on a
// store that others have open would pull it from under them.
int open_environment(ArticledbDb* db, const char* path) {
  DB_ENV* env = db->env;
  Steps steps(env);
  bool alone = false;
  if (!steps.failed(directory_lock_enter(path, &db->lock, &alone), 98)) {
    const guint32 flags = DB_CREATE | DB_INIT_LOCK | DB_INIT_MPOOL | DB_INIT_TXN;
    if (steps.failed(env->open(env, path, alone ? flags | DB_RECOVER : flags, 0), 98)) {
      leave_directory(db);
    }
  }
  return steps.code();
}

// Makes, configures and opens a database, instead of the one whose opening was
// given up. *step becomes the number of the step that was tried last.
int make_database(ArticledbDb* db, const DatabaseSpec& spec, int* step) {
  DB** field = &(db->*spec.field);
  if (*field != nullptr) {
    (*field)->close(*field, 0);
    *field = nullptr;
  }
  *step = spec.step;
  int ret = db_create(field, db->env, 0);
  if (ret != 0) {
    return ret;
  }
  DB* handle = *field;
  ++*step;
  ret = handle->set_pagesize(handle, PAGE_BYTES);
  if (ret == 0 && spec.duplicates != Duplicates::NONE) {
    ++*step;
    ret = handle->set_flags(handle, DB_DUPSORT);
  }
  if (ret == 0 && spec.duplicates == Duplicates::NUMERIC) {
    ++*step;
    ret = handle->set_dup_compare(handle, guint64_dbt_cmp);
  }
  if (ret != 0) {
    return ret;
  }
  ++*step;
  // No DB_THREAD: reads into items without an allocation flag rely on it.
  return handle->open(handle, nullptr, DATABASE_FILE, spec.name, spec.type,
                      DB_CREATE | DB_AUTO_COMMIT, 0);
}

int open_database(ArticledbDb* db, const DatabaseSpec& spec) {
  Steps steps(db->env);
  int step = 0;
  const int ret = retry_deadlock([&] { return make_database(db, spec, &step); });
  steps.failed(ret, step);
  return ret;
}

int open_databases(ArticledbDb* db) {
  for (const DatabaseSpec& spec : DATABASES) {
    const int ret = open_database(db, spec);
    if (ret != 0) {
      return ret;
    }
  }
  return 0;
}

// A store without its counter can never be indexed into, so it goes to the disk
// at once.
int create_id_counter(ArticledbDb* db) {
  const guint64 none = 0;
  Steps steps(db->env);
  steps.failed(put_record(db->iddb, nullptr, input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY),
                          input_item(&none, sizeof none), 0),
               169) ||
      steps.failed(db->env->log_flush(db->env, nullptr), 170);
  return steps.code();
}

int open_store(ArticledbDb* db, const char* path, int create) {
  int ret = configure_environment(db->env);
  if (ret == 0) {
    ret = open_environment(db, path);
  }
  if (ret == 0) {
    ret = open_databases(db);
  }
  if (ret == 0 && create != 0) {
    ret = create_id_counter(db);
  }
  return ret;
}

int articledb_db_create_or_open(ArticledbDb* db, const char* path, int create) {
  if (create != 0 && create_env_directories(path) != 0) {
    return -1;
  }
  DB_ENV* env = nullptr;
  int ret = db_env_create(&env, 0);
  if (ret != 0) {
    return ret;
  }
  db->env = env;
  ret = open_store(db, path, create);
  if (db->lock != nullptr) {
    directory_lock_open_gate(db->lock);
  }
  return ret;
}

// ---- closing ----

struct CloseStep {
  DB* ArticledbDb::*field;
  int number;  // in messages
};

// In the order of closing.
constexpr CloseStep CLOSE_STEPS[] = {
    {&ArticledbDb::urldb, 204},     {&ArticledbDb::urlidx, 205},  {&ArticledbDb::datedb, 206},
    {&ArticledbDb::sourcedb, 207},  {&ArticledbDb::txtdb, 208},   {&ArticledbDb::formdb, 209},
    {&ArticledbDb::trigramdb, 210}, {&ArticledbDb::lemmadb, 211}, {&ArticledbDb::iddb, 212},
};
constexpr int CLOSE_ENVIRONMENT_NUMBER = 214;

// Takes the code of a close; returns it. Berkeley DB's closes end a handle
// whatever they answer, except in an environment that needs recovery, where they
// do nothing. The presence in the directory ends there: the next one to open the
// store has to find it free, to run that recovery.
template <typename Handle>
int handle_closed(ArticledbDb* db, Handle** field, int code, int number) {
  if (code != 0) {
    fprintf(stderr, "Errorea istean: %s:%d (%d)\n", MODULE, number, code);
  }
  if (code == DB_RUNRECOVERY) {
    leave_directory(db);
  } else {
    *field = nullptr;
  }
  return code;
}

int close_environment(ArticledbDb* db) {
  DB_ENV* env = db->env;
  // Spares the next opening most of its recovery, which makes up for a failure.
  if (db->lock != nullptr) {
    env->txn_checkpoint(env, 0, 0, 0);
  }
  const int ret = handle_closed(db, &db->env, env->close(env, 0), CLOSE_ENVIRONMENT_NUMBER);
  if (ret != 0) {
    fputs("Errorea istean.\n", stderr);
  }
  return ret;
}

}  // namespace

ArticledbDb* articledb_db_new(void) { return g_try_new0(ArticledbDb, 1); }

int articledb_db_create(ArticledbDb* db, const char* path) {
  return articledb_db_create_or_open(db, path, 1);
}

int articledb_db_open(ArticledbDb* db, const char* path) {
  return articledb_db_create_or_open(db, path, 0);
}

int articledb_db_close(ArticledbDb* db) {
  if (db == nullptr) {
    return 0;
  }
  for (const CloseStep& step : CLOSE_STEPS) {
    DB* handle = db->*step.field;
    if (handle == nullptr) {
      continue;
    }
    const int ret = handle_closed(db, &(db->*step.field), handle->close(handle, 0), step.number);
    if (ret != 0) {
      return ret;
    }
  }
  if (db->env != nullptr) {
    const int ret = close_environment(db);
    if (ret != 0) {
      return ret;
    }
  }
  leave_directory(db);
  g_free(db);
  return 0;
}

void articledb_db_get_stats(ArticledbDb* db, guint32* indexed_articles, guint32* indexed_tokens,
                            guint32* indexed_text_bytes, guint32* submitted_articles,
                            guint32* processed_tokens, guint32* submitted_length) {
  *indexed_articles = db->indexed_articles;
  *indexed_tokens = db->indexed_tokens;
  *indexed_text_bytes = db->indexed_text_bytes;
  *submitted_articles = db->submitted_articles;
  *processed_tokens = db->processed_tokens;
  *submitted_length = db->submitted_length;
}

int articledb_db_remove_logs(ArticledbDb* db) {
  constexpr guint32 CHECKPOINT_KIB = 10240;
  int ret = db->env->txn_checkpoint(db->env, CHECKPOINT_KIB, 0, 0);
  if (ret != 0) {
    return ret;
  }
  char** list = nullptr;
  ret = db->env->log_archive(db->env, &list, DB_ARCH_ABS);
  if (ret != 0) {
    return ret;
  }
  if (list != nullptr) {
    for (char** name = list; *name != nullptr; ++name) {
      g_unlink(*name);
    }
    free(list);
  }
  return 0;
}

int articledb_db_max_id(ArticledbDb* db, guint64* id) {
  DBT data = output_item(id, sizeof *id);
  const int ret = ostren::fenra::store::get_record(
      db->iddb, nullptr, input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY), &data, 0);
  if (ret != 0) {
    db->iddb->err(db->iddb, ret, nullptr);
  }
  return ret;
}
