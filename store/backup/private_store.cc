#include "store/backup/private_store.h"

#include "store/articledb.h"
#include "store/backup/complaint.h"
#include "store/layout/database.h"
#include "store/layout/store_files.h"
#include "store/process/environment.h"
#include "store/writing/waiting_files.h"

namespace ostren::fenra::store {
namespace {

class PrivateStore {
 public:
  // The database file may have been copied at any distance behind its log, so recovery starts
  // at the log's beginning and not at the last checkpoint.
  explicit PrivateStore(const std::string& directory) {
    complaining("cannot replay the log of the store", [&] {
      constexpr guint32 CACHE_BYTES = 64 << 20;
      require(environment_make(&db_));
      db_.env->set_errcall(db_.env, drop_message);
      int ret = db_.env->set_cachesize(db_.env, 0, CACHE_BYTES, 1);
      if (ret == 0) {
        ret = db_.env->open(db_.env, directory.c_str(),
                            DB_CREATE | DB_PRIVATE | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL |
                                DB_INIT_TXN | DB_RECOVER_FATAL,
                            0);
      }
      if (ret != 0) {
        environment_discard(&db_);
        throw Failed{ret};
      }
    });
  }
  ~PrivateStore() { environment_discard(&db_); }
  PrivateStore(const PrivateStore&) = delete;
  PrivateStore& operator=(const PrivateStore&) = delete;

  ArticledbDb* get() { return &db_; }

 private:
  ArticledbDb db_ = {};
};

}  // namespace

void replay_log(const std::string& directory) { const PrivateStore store(directory); }

void put_in_order(const std::string& directory) {
  PrivateStore store(directory);
  ArticledbDb* const db = store.get();
  complaining("cannot put the copy of the store in order", [&] {
    require(environment_open_databases(db, DATABASE_FILE, DB_CREATE | DB_AUTO_COMMIT));
    write_out_waiting(db, directory.c_str());
    environment_close_databases(db);
    require(db->env->txn_checkpoint(db->env, 0, 0, DB_FORCE));
    require(environment_remove_logs(db->env));
  });
}

}  // namespace ostren::fenra::store
