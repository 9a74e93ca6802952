#include "articles/failure.h"

namespace ostren::fenra::articles {

std::string status_text(int status) {
  switch (status) {
    case STATUS_MISSING_METADATA:
      return "metadata missing";
    case STATUS_NOT_FOUND:
      return "no such record";
    case STATUS_UNKNOWN_RULES:
      return "this version of fenra does not have them; use the one that made the store";
    case STATUS_STORE_CHANGED:
      return "somebody has written to the store meanwhile; try again";
    case STATUS_NOT_IN_ORDER:
      return "somebody who may write to it has to close it in order first";
    case -1:
      return "out of memory";
    default:
      return db_strerror(status);
  }
}

void check(int status, const std::string& what) {
  if (status != 0) {
    throw Failure(what + ": " + status_text(status), status);
  }
}

void check_unchanged(ArticledbDb* db) {
  guint64 id = 0;
  if (articledb_db_max_id(db, &id) == STATUS_STORE_CHANGED) {
    check(STATUS_STORE_CHANGED, "the answer may go on");
  }
}

void fail_reading(ArticledbDb* db, const std::string& what) {
  guint64 id = 0;
  check(articledb_db_max_id(db, &id), what);
  throw Failure(what);
}

}  // namespace ostren::fenra::articles
