#include "store/process/log_end.h"

#include <cstring>
#include <memory>

#include "base/failed.h"
#include "store/layout/database.h"

namespace ostren::fenra::store {
namespace {

// On disk: the types of log records, their first 4 bytes.
enum : guint32 {
  FILE_RECORD = 2,  // a database is opened or closed
  CHECKPOINT_RECORD = 11
};

struct Closer {
  void operator()(DB_ENV* env) const { env->close(env, 0); }
  void operator()(DB_LOGC* cursor) const { cursor->close(cursor, 0); }
};

}  // namespace

bool log_ends_in_order(const char* directory) {
  DB_ENV* made = nullptr;
  require(db_env_create(&made, 0));
  const std::unique_ptr<DB_ENV, Closer> env(made);
  made->set_errcall(made, drop_message);
  require(made->set_lg_dir(made, directory));
  require(made->open(made, NO_HOME, DB_CREATE | DB_PRIVATE | DB_INIT_LOG, 0));
  DB_LOGC* opened = nullptr;
  require(made->log_cursor(made, &opened, 0));
  const std::unique_ptr<DB_LOGC, Closer> cursor(opened);
  guint32 type = FILE_RECORD;
  for (guint32 place = DB_LAST; type == FILE_RECORD; place = DB_PREV) {
    DB_LSN lsn = {};
    DBT record = {};
    if (cursor->get(cursor.get(), &lsn, &record, place) != 0 || record.size < sizeof type) {
      return false;
    }
    memcpy(&type, record.data, sizeof type);
  }
  return type == CHECKPOINT_RECORD;
}

}  // namespace ostren::fenra::store
