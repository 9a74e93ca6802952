#include "store/environment.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "store/database.h"
#include "store/db_config.h"
#include "store/schema.h"

namespace ostren {
namespace fenra {
namespace store {
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

// The mutexes that a cache needs beyond those of the default one: one for each of its
// pages and for each bucket of its hash table, of which there are fewer. Caches below
// 500 MB are made a quarter larger than they are asked to be.
guint32 additional_mutexes(guint64 cache_bytes) {
  const guint64 more = MAX(cache_bytes, DEFAULT_CACHE_BYTES) - DEFAULT_CACHE_BYTES;
  return static_cast<guint32>(more / PAGE_BYTES * 5 / 2);
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
    ret = env->mutex_set_max(env, MAX_MUTEXES + additional_mutexes(config->cache_bytes));
  }
  return ret;
}

// ---- regions ----

// Calls `visit(mapping, file name)` for every mapping of a region file of the
// directory.
template <typename Visit>
void visit_regions(const char* directory, Visit visit) {
  FILE* maps = fopen("/proc/self/maps", "re");
  if (maps == nullptr) {
    return;
  }
  gchar* prefix = g_build_filename(directory, "__db.", nullptr);
  char* line = nullptr;
  size_t capacity = 0;
  ssize_t length;
  while ((length = getline(&line, &capacity, maps)) > 0) {
    line[length - 1] = '\0';
    const char* name = strstr(line, prefix);
    unsigned long start = 0;
    unsigned long end = 0;
    if (name != nullptr && sscanf(line, "%lx-%lx", &start, &end) == 2) {
      visit(RegionMapping{reinterpret_cast<void*>(start), end - start}, name);
    }
  }
  free(line);
  g_free(prefix);
  fclose(maps);
}

GArray* list_regions(const char* directory) {
  GArray* regions = g_array_new(FALSE, FALSE, sizeof(RegionMapping));
  visit_regions(directory,
                [&](RegionMapping mapping, const char*) { g_array_append_val(regions, mapping); });
  return regions;
}

bool contains(const GArray* regions, const RegionMapping& mapping) {
  for (guint i = 0; i < regions->len; ++i) {
    if (g_array_index(regions, RegionMapping, i).address == mapping.address) {
      return true;
    }
  }
  return false;
}

// What the region of the mutexes can grow by: it is made with those of the cache, and
// each of GateFile::PLACES handles takes eleven of some 140 bytes.
constexpr off_t MUTEX_GROWTH_BYTES = off_t{3} << 20;

// Gives the region files the disk space that they can come to need, as far as their
// mappings reach: they grow while the environment is used, and a page that a full
// disk has no room for would be a SIGBUS. The mapping of the mutexes reaches far beyond
// what can be used of it.
int reserve_region(const RegionMapping& mapping, const char* name) {
  const int fd = open(name, O_RDWR | O_CLOEXEC);
  if (fd == -1) {
    return errno;
  }
  auto length = static_cast<off_t>(mapping.length);
  struct stat status = {};
  if (g_str_has_suffix(name, "__db.002") && fstat(fd, &status) == 0) {
    length = MIN(length, status.st_size + MUTEX_GROWTH_BYTES);
  }
  int ret = 0;
  if (fallocate(fd, FALLOC_FL_KEEP_SIZE, 0, length) != 0 && errno != EOPNOTSUPP &&
      errno != ENOSYS) {
    ret = errno;
  }
  close(fd);
  return ret;
}

// Notes what the opening of the environment has mapped: what is there now and was not
// before. The gate keeps every other opening of it away.
int take_regions(const char* directory, const GArray* before, GArray* regions) {
  int ret = 0;
  visit_regions(directory, [&](RegionMapping mapping, const char* name) {
    if (contains(before, mapping)) {
      return;
    }
    g_array_append_val(regions, mapping);
    if (ret == 0) {
      ret = reserve_region(mapping, name);
    }
  });
  return ret;
}

// What all regions are reserved with a cache of the given size, and some more.
off_t room_for(guint64 cache_bytes) {
  constexpr off_t ROOM_BYTES = off_t{29} << 20;  // with the default cache
  constexpr off_t MUTEX_BYTES = 160;
  const auto more = static_cast<off_t>(MAX(cache_bytes, DEFAULT_CACHE_BYTES) - DEFAULT_CACHE_BYTES);
  return ROOM_BYTES + more + more / 4 + MUTEX_BYTES * additional_mutexes(cache_bytes);
}

// Deletes the files of the regions, which recovery makes anew: nobody who still has them
// mapped uses them. Their space is then free for the new ones.
int delete_regions(const char* directory) {
  GDir* entries = g_dir_open(directory, 0, nullptr);
  if (entries == nullptr) {
    return ENOENT;
  }
  int ret = 0;
  while (const char* entry = g_dir_read_name(entries)) {
    if (g_str_has_prefix(entry, "__db.")) {
      gchar* name = g_build_filename(directory, entry, nullptr);
      if (unlink(name) != 0 && errno != ENOENT) {
        ret = errno;
      }
      g_free(name);
    }
  }
  g_dir_close(entries);
  return ret;
}

// Whether the disk has room for the regions. Berkeley DB touches their memory while it
// makes them, before anything can be reserved.
int look_for_room(const char* directory, off_t room) {
  gchar* name = g_build_filename(directory, "fenra.room", nullptr);
  const int fd = open(name, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  int ret = fd == -1 ? errno : 0;
  if (ret == 0 && fallocate(fd, 0, 0, room) != 0 && errno != EOPNOTSUPP && errno != ENOSYS) {
    ret = errno;
  }
  if (fd != -1) {
    close(fd);
    unlink(name);
  }
  g_free(name);
  return ret;
}

// ---- opening ----

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
    ret = delete_regions(directory);
    if (ret == 0) {
      ret = look_for_room(directory, room_for(config.cache_bytes));
    }
    if (ret != 0) {
      return ret;
    }
  }
  GArray* before = list_regions(directory);
  ret = env->open(env, directory, flags, 0);
  *opened = ret == 0;
  if (ret == 0) {
    ret = take_regions(directory, before, regions);
  }
  g_array_free(before, TRUE);
  return ret;
}

// Makes, configures and opens a database. *step becomes the number of the step
// that was tried last.
int make_database(ArticledbDb* db, const DatabaseSpec& spec, int* step) {
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
  return handle->open(handle, nullptr, DATABASE_FILE, spec.name, spec.type,
                      DB_CREATE | DB_AUTO_COMMIT, 0);
}

// ---- abandoning ----

void drop_message(const DB_ENV*, const char*, const char*) {}

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
  for (const DatabaseSpec& spec : DATABASES) {
    int step = 0;
    const int ret = make_database(db, spec, &step);
    if (steps.failed(ret, step)) {
      break;
    }
  }
  return steps.code();
}

void environment_discard(ArticledbDb* db) {
  for (const DatabaseSpec& spec : DATABASES) {
    DB* handle = db->*spec.field;
    if (handle != nullptr) {
      handle->close(handle, 0);
      db->*spec.field = nullptr;
    }
  }
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
    for (guint i = 0; i < regions->len; ++i) {
      const auto& mapping = g_array_index(regions, RegionMapping, i);
      munmap(mapping.address, mapping.length);
    }
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

int environment_checkpoint(DB_ENV* env, guint32 kib) {
  DB_LOG_STAT* log = nullptr;
  int ret = env->log_stat(env, &log, 0);
  if (ret != 0) {
    return ret;
  }
  const guint64 kib_since_checkpoint = guint64{log->st_wc_mbytes} * 1024 + log->st_wc_bytes / 1024;
  free(log);
  if (kib_since_checkpoint < kib) {
    return 0;
  }
  ret = env->txn_checkpoint(env, 0, 0, 0);
  return ret != 0 ? ret : environment_remove_logs(env);
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
