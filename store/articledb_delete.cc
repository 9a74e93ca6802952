// Removal of an article.
#include "store/articledb.h"
#include "store/memory.h"
#include "store/process/gate.h"
#include "store/writing/article_version.h"

using namespace ostren::fenra::store;

int articledb_db_delete(ArticledbDb* db, const char* url, guint32 length) {
  // What a try has removed may have survived the recovery that ended it.
  bool may_be_removed = false;
  int ret = db->memory != nullptr && db->memory->uses_journal
                ? gate_append_removal(db, {url, length})
                : DECLINED;
  if (ret == 0 || ret == DB_NOTFOUND) {
    return ret == 0 ? 0 : STATUS_NOT_FOUND;
  }
  ret = run_in_gate(db, [&] {
    const int code = remove_versions(db, {url, length});
    if (code == DB_NOTFOUND && may_be_removed) {
      return 0;
    }
    may_be_removed = code == DB_RUNRECOVERY;
    return code;
  });
  return ret == DB_NOTFOUND ? STATUS_NOT_FOUND : ret;
}
