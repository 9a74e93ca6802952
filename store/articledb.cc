// The store handle: creating, opening and closing, statistics and logs.
#include "store/articledb.h"

#include <glib/gstdio.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "base/failed.h"
#include "store/creation.h"
#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "store/memory.h"
#include "store/process/environment.h"
#include "store/process/gate.h"
#include "store/process/gate_file.h"
#include "store/reading/read_memory.h"
#include "store/rules_record.h"
#include "store/waiting/waiting_view.h"
#include "store/writing/fixed_articles.h"
#include "store/writing/journal.h"

using namespace ostren::fenra;
using namespace ostren::fenra::store;

namespace {

// ---- creating and opening ----

int create_env_directories(const char* path) { return mkdir(path, 0700) == 0 ? 0 : -1; }

// Puts the counter where there is none: another handle may have completed the new
// store, and drawn ids, in the meantime.
int put_id_counter(ArticledbDb* db) {
  DB* iddb = db->iddb;
  DBT key = input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);
  guint64 counter = 0;
  DBT data = output_item(&counter, sizeof counter);
  const int ret = iddb->get(iddb, nullptr, &key, &data, 0);
  if (ret != DB_NOTFOUND) {
    return ret;
  }
  data = input_item(&counter, sizeof counter);
  return iddb->put(iddb, nullptr, &key, &data, 0);
}

// A store without its counter can never be indexed into, so it goes to the disk
// at once.
int create_id_counter(ArticledbDb* db) {
  Steps steps(db->env);
  if (!steps.failed(put_id_counter(db), 169) &&
      !steps.failed(db->env->log_flush(db->env, nullptr), 170)) {
    gate_set_complete(db);
  }
  return steps.code();
}

std::unique_ptr<WaitingArticles> make_journal(const char* directory, GateFile* file) {
  return std::unique_ptr<WaitingArticles>(new (std::nothrow) Journal(directory, file));
}

std::unique_ptr<WaitingArticles> make_fixed(const char* directory) {
  return std::unique_ptr<WaitingArticles>(new (std::nothrow) FixedArticles(directory));
}

using Prepare = int (*)(ArticledbDb* db);

// `open_gate` does what is particular.
template <typename OpenGate>
int open_with(ArticledbDb* db, OpenGate open_gate) {
  int ret = 0;
  if (db->memory == nullptr) {
    ret = status_of([db] { db->memory = new ArticledbMemory; });
  }
  if (ret == 0) {
    ret = environment_make(db);
  }
  if (ret == 0) {
    ret = open_gate();
  }
  if (ret == 0) {
    ret = read_in_gate(db, [db] { return db->memory->reading->set_room(db->env); });
  }
  return ret;
}

int open_store(ArticledbDb* db, const char* path, Prepare prepare) {
  return open_with(db, [=] {
    return gate_open(db, path, {make_journal, db->memory->uses_journal, prepare});
  });
}

// The rules come first: a store that is complete has them.
int prepare_with(ArticledbDb* db, const char* rules) {
  const int ret = put_rules(db, rules);
  if (ret == EEXIST) {
    return ret;
  }
  Steps steps(db->env);
  return steps.failed(ret, 171) ? ret : create_id_counter(db);
}
int prepare_plain(ArticledbDb* db) { return prepare_with(db, ARTICLEDB_RULES_PLAIN); }
int prepare_web(ArticledbDb* db) { return prepare_with(db, ARTICLEDB_RULES_WEB); }

// ---- closing ----

// In messages: of the first database to be closed, and of the environment.
constexpr int FIRST_CLOSE_NUMBER = 204;
constexpr int CLOSE_ENVIRONMENT_NUMBER = 214;

// Takes the code of a close; returns it. Berkeley DB's closes end a handle
// whatever they answer, except in an environment that needs recovery, where they
// do nothing; the next close recovers it first.
template <typename Handle>
int handle_closed(Handle** field, int code, int number) {
  if (code != 0) {
    fprintf(stderr, "Errorea istean: %s:%d (%d)\n", MODULE, number, code);
  }
  if (code != DB_RUNRECOVERY) {
    *field = nullptr;
  }
  return code;
}

int close_databases(ArticledbDb* db) {
  int number = FIRST_CLOSE_NUMBER;
  for (const DatabaseSpec* database : CLOSING_ORDER) {
    DB** field = &(db->*database->field);
    const int ret =
        *field == nullptr ? 0 : handle_closed(field, (*field)->close(*field, 0), number);
    if (ret != 0) {
      return ret;
    }
    ++number;
  }
  return 0;
}

int close_environment(ArticledbDb* db) {
  if (db->env == nullptr) {
    return 0;
  }
  const int ret = handle_closed(&db->env, db->env->close(db->env, 0), CLOSE_ENVIRONMENT_NUMBER);
  if (ret != 0) {
    fputs("Errorea istean.\n", stderr);
  }
  return ret;
}

}  // namespace

ArticledbDb* articledb_db_new(void) { return g_try_new0(ArticledbDb, 1); }

int articledb_db_create(ArticledbDb* db, const char* path) {
  return create_env_directories(path) != 0 ? -1 : open_store(db, path, create_id_counter);
}

int articledb_db_create_with_rules(ArticledbDb* db, const char* path, const char* rules) {
  const ArticledbRules* const known = articledb_rules_by_name(rules);
  if (known == nullptr) {
    return EINVAL;
  }
  if (create_env_directories(path) != 0 && errno != EEXIST) {
    return -1;
  }
  return open_store(db, path, is_plain(*known) ? prepare_plain : prepare_web);
}

int articledb_db_open(ArticledbDb* db, const char* path) { return open_store(db, path, nullptr); }

int articledb_db_open_read_only(ArticledbDb* db, const char* path) {
  return open_with(db, [=] { return gate_open_read_only(db, path, make_fixed); });
}

int articledb_db_close(ArticledbDb* db) {
  if (db == nullptr) {
    return 0;
  }
  const int ret = gate_close(db, {close_databases, close_environment});
  if (ret == 0) {
    delete db->memory;
    g_free(db);
  }
  return ret;
}

void ostren::fenra::store::complete_store(const char* path) {
  if (path == nullptr || !g_file_test(path, G_FILE_TEST_IS_DIR) || GateFile::says_complete(path)) {
    return;
  }
  ArticledbDb* db = articledb_db_new();
  if (db != nullptr) {
    open_store(db, path, create_id_counter);
  }
  articledb_db_close(db);
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
  return run_in_gate(db, [db] {
    int ret = db->env->txn_checkpoint(db->env, CHECKPOINT_KIB, 0, 0);
    if (ret != 0) {
      return ret;
    }
    char** list = nullptr;
    ret = db->env->log_archive(db->env, &list, DB_ARCH_ABS);
    if (ret == 0 && list != nullptr) {
      for (char** name = list; *name != nullptr; ++name) {
        g_unlink(*name);
      }
      free(list);
    }
    return ret;
  });
}

int articledb_db_max_id(ArticledbDb* db, guint64* id) {
  const int ret = read_in_gate(db, [&] {
    const WaitingView* waiting = nullptr;
    int code = gate_waiting(db, &waiting);
    DBT key = input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);
    DBT data = output_item(id, sizeof *id);
    code = code != 0 ? code : db->iddb->get(db->iddb, nullptr, &key, &data, 0);
    if (code == 0 && waiting != nullptr) {
      *id = MAX(*id, waiting->last_id());
    }
    return code;
  });
  if (ret != 0) {
    report(db->iddb, ret);
  }
  return ret;
}
