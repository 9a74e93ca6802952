#include "store/process/environment.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/file.h"
#include "store/layout/database.h"
#include "store/layout/db_config.h"
#include "store/layout/schema.h"
#include "store/process/files_mark.h"
#include "store/process/ownership.h"
#include "store/process/regions.h"

namespace ostren::fenra::store {
namespace {

// ---- making ----

constexpr guint32 MAX_LOCKS = 20000;
constexpr guint32 LOG_BUFFER_BYTES = 2 * 1024 * 1024;
constexpr guint32 MAX_MUTEXES = 100000;

// Puts of an article are not synced one by one: articledb_db_index flushes the
// log before it reports success. Under the gate nobody releases a lock that
// somebody waits for, so nobody waits.
int configure(DB_ENV* env) {
  Steps steps(env);
  steps.failed(env->set_cachesize(env, 0, DEFAULT_CACHE_BYTES, 1), 87) ||
      steps.failed(env->set_lk_max_locks(env, MAX_LOCKS), 88) ||
      steps.failed(env->set_lk_max_objects(env, MAX_LOCKS), 89) ||
      steps.failed(env->mutex_set_max(env, MAX_MUTEXES), 91) ||
      steps.failed(env->set_flags(env, DB_TXN_NOSYNC | DB_TXN_NOWAIT | DB_REGION_INIT, 1), 92) ||
      steps.failed(env->set_lg_bsize(env, LOG_BUFFER_BYTES), 97);
  return steps.code();
}

// Takes the settings of the directory's DB_CONFIG, which Berkeley DB reads when it
// opens the environment, into account.
int adjust_to(DB_ENV* env, const char* directory, DbConfig* config) {
  gchar* complaint = nullptr;
  int ret = db_config_read(directory, config, nullptr, nullptr, &complaint);
  if (ret != 0) {
    env->errx(env, "%s/%s: %s", directory, DB_CONFIG_FILE, complaint);
    g_free(complaint);
    return ret;
  }
  if (config->cache_bytes > DEFAULT_CACHE_BYTES) {
    ret = env->mutex_set_max(env, MAX_MUTEXES + regions_additional_mutexes(config->cache_bytes));
  }
  return ret;
}

// ---- opening ----

// Gives the present log file the disk space that it is made for but does not take yet: recovery
// fills it up with zeros, and a full disk would stand in its way. Without that room it is what
// it was.
void reserve_log(DB_ENV* env) {
  const char* directory = nullptr;
  if (env->get_home(env, &directory) != 0 || directory == nullptr) {
    return;
  }
  const std::vector<guint32> logs = log_numbers(directory);
  if (logs.empty()) {
    return;
  }
  const Descriptor log(open_own_file(directory, log_name(logs.back()).c_str(), O_RDWR, 0));
  struct stat status = {};
  if (log && fstat(log.get(), &status) == 0) {
    fallocate(log.get(), 0, 0, status.st_size);
  }
}

int open_environment(DB_ENV* env, const char* directory, Recovery recovery, GArray* regions,
                     bool* opened) {
  guint32 flags = DB_CREATE | DB_INIT_LOCK | DB_INIT_MPOOL | DB_INIT_TXN;
  *opened = false;
  DbConfig config;
  int ret = adjust_to(env, directory, &config);
  if (ret != 0) {
    return ret;
  }
  if (recovery == Recovery::YES) {
    flags |= DB_RECOVER;
    ret = regions_make_way(directory, config.cache_bytes);
    if (ret != 0) {
      return ret;
    }
  }
  GArray* before = regions_list(directory);
  ret = env->open(env, directory, flags, 0);
  *opened = ret == 0;
  if (ret == 0) {
    ret = regions_take(directory, before, regions);
  }
  g_array_free(before, TRUE);
  return ret;
}

// Makes, configures and opens a database. *step becomes the number of the step
// that was tried last.
int make_database(ArticledbDb* db, const DatabaseSpec& spec, const char* file, guint32 flags,
                  int* step) {
  DB** field = &(db->*spec.field);
  *step = spec.step;
  int ret = db_create(field, db->env, 0);
  if (ret != 0) {
    return ret;
  }
  DB* handle = *field;
  ret = schema_configure(handle, spec, step);
  // The pages of the forms are met again soon, those of the trigrams are not. Pages that
  // leave the cache while their article is being written cost a flush of the log.
  if (ret == 0 && spec.field == &ArticledbDb::formdb) {
    ret = handle->set_priority(handle, DB_PRIORITY_VERY_HIGH);
  }
  if (ret != 0) {
    return ret;
  }
  ++*step;
  // No DB_THREAD: reads into items without an allocation flag rely on it.
  return handle->open(handle, nullptr, file, spec.name, spec.type, flags, 0);
}

// ---- abandoning ----

// The abandoned environments of the process, reachable for tools that look for
// lost memory.
struct Abandoned {
  DB_ENV* env;
  Abandoned* next;
};
std::atomic<Abandoned*> abandoned_environments{nullptr};

void remember_abandoned(DB_ENV* env) {
  auto* entry = g_new(Abandoned, 1);
  entry->env = env;
  entry->next = abandoned_environments.load();
  while (!abandoned_environments.compare_exchange_weak(entry->next, entry)) {
  }
}

}  // namespace

bool Steps::failed(int code, int step) {
  code_ = code;
  if (code != 0) {
    env_->err(env_, code, "articledb_create error %s:%d.", MODULE, step);
  }
  return code != 0;
}

Messages environment_messages(DB_ENV* env) {
  Messages messages = {};
  env->get_errfile(env, &messages.file);
  env->get_errcall(env, &messages.call);
  env->get_errpfx(env, &messages.prefix);
  return messages;
}

void environment_set_messages(DB_ENV* env, const Messages& messages) {
  if (messages.file != nullptr) {
    env->set_errfile(env, messages.file);
  }
  env->set_errcall(env, messages.call);
  env->set_errpfx(env, messages.prefix);
}

int environment_make(ArticledbDb* db) {
  DB_ENV* env = nullptr;
  const int ret = db_env_create(&env, 0);
  if (ret != 0) {
    return ret;
  }
  db->env = env;
  return configure(env);
}

int environment_open(ArticledbDb* db, const char* directory, Recovery recovery, GArray* regions,
                     bool* opened) {
  Steps steps(db->env);
  if (steps.failed(open_environment(db->env, directory, recovery, regions, opened),
                   OPEN_ENVIRONMENT_STEP)) {
    return steps.code();
  }
  const int ret = environment_open_databases(db, DATABASE_FILE, DB_CREATE | DB_AUTO_COMMIT);
  if (ret == 0) {
    // A new one begins with the databases.
    reserve_log(db->env);
  }
  return ret;
}

int environment_open_read_only(ArticledbDb* db, const char* directory) {
  DB_ENV* const env = db->env;
  DbConfig config;
  gchar* complaint = nullptr;
  if (db_config_read(directory, &config, nullptr, nullptr, &complaint) != 0) {
    config = DbConfig{};
  }
  g_free(complaint);
  Steps steps(env);
  // A file that is mapped ends the process that reads it, when somebody shortens it.
  if (steps.failed(env->set_flags(env, DB_NOMMAP, 1), OPEN_ENVIRONMENT_STEP) ||
      steps.failed(
          env->set_cachesize(env, static_cast<guint32>(config.cache_bytes >> 30),
                             static_cast<guint32>(config.cache_bytes & ((1U << 30) - 1)), 1),
          OPEN_ENVIRONMENT_STEP) ||
      steps.failed(env->open(env, NO_HOME, DB_CREATE | DB_PRIVATE | DB_INIT_MPOOL, 0),
                   OPEN_ENVIRONMENT_STEP)) {
    return steps.code();
  }
  const std::string file = std::string(directory) + "/" + DATABASE_FILE;
  return environment_open_databases(db, file.c_str(), DB_RDONLY);
}

int environment_open_databases(ArticledbDb* db, const char* file, guint32 flags) {
  Steps steps(db->env);
  for (const DatabaseSpec& spec : DATABASES) {
    int step = 0;
    const int ret = make_database(db, spec, file, flags, &step);
    if (steps.failed(ret, step)) {
      break;
    }
  }
  return steps.code();
}

void environment_close_databases(ArticledbDb* db) {
  for (const DatabaseSpec& spec : DATABASES) {
    DB* handle = db->*spec.field;
    if (handle != nullptr) {
      handle->close(handle, 0);
      db->*spec.field = nullptr;
    }
  }
}

void environment_discard(ArticledbDb* db) {
  environment_close_databases(db);
  if (db->env != nullptr) {
    db->env->close(db->env, 0);
    db->env = nullptr;
  }
}

void environment_abandon(ArticledbDb* db, GArray* regions) {
  DB_ENV* env = db->env;
  env->set_errfile(env, nullptr);
  env->set_errcall(env, drop_message);
  // From here on Berkeley DB touches neither the shared memory nor its mutexes, one of
  // which a dead process may hold: closing only gives the files back.
  env->set_flags(env, DB_PANIC_ENVIRONMENT, 1);
  if (env->close(env, 0) != 0) {
    remember_abandoned(env);
    regions_unmap(regions);
  }
  g_array_set_size(regions, 0);
  for (const DatabaseSpec& spec : DATABASES) {
    db->*spec.field = nullptr;
  }
  db->env = nullptr;
}

int environment_remove_logs(DB_ENV* env) {
  char** none = nullptr;
  return env->log_archive(env, &none, DB_ARCH_REMOVE);
}

int environment_checkpoint(DB_ENV* env) {
  constexpr guint64 CHECKPOINT_KIB = 8192;
  DB_LOG_STAT* log = nullptr;
  int ret = env->log_stat(env, &log, 0);
  if (ret != 0) {
    return ret;
  }
  const guint64 kib_since_checkpoint = guint64{log->st_wc_mbytes} * 1024 + log->st_wc_bytes / 1024;
  free(log);
  if (kib_since_checkpoint < CHECKPOINT_KIB) {
    return 0;
  }
  ret = env->txn_checkpoint(env, 0, 0, 0);
  if (ret == 0) {
    ret = environment_remove_logs(env);
    reserve_log(env);
  }
  return ret;
}

}  // namespace ostren::fenra::store
