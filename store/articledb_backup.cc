#include "store/articledb_backup.h"

#include <cerrno>
#include <exception>
#include <new>
#include <string>

#include "store/backup/complaint.h"
#include "store/backup/page_check.h"
#include "store/backup/private_store.h"
#include "store/backup/store_backup.h"
#include "store/backup/store_copy.h"
#include "store/bulk/work_meter.h"

using namespace ostren::fenra;
using namespace ostren::fenra::store;

namespace {

// The status of `work`, and in *message what it complains of.
template <typename Work>
int status_and_message(char** message, Work work) {
  std::string text;
  const int ret = status_of([&] {
    try {
      work();
    } catch (const Complaint& complaint) {
      text = complaint.text;
      throw;
    } catch (const Failed& failed) {
      text = db_strerror(failed.code);
      throw;
    }
  });
  if (message != nullptr) {
    *message = ret == 0 || ret == -1 ? nullptr : g_strdup(text.c_str());
  }
  return ret;
}

// A step is long, and their number small.
constexpr guint32 EVERY_CALL = 1;

}  // namespace

int articledb_backup(const char* store, const char* path, ArticledbBulkProgressFunc progress,
                     void* state, char** message) {
  return status_and_message(message, [=] { make_backup(store, path, progress, state); });
}

int articledb_backup_snapshot(const char* store, const char* directory,
                              ArticledbBulkProgressFunc progress, void* state, char** message) {
  return status_and_message(message, [=] {
    WorkMeter meter(progress, state, EVERY_CALL);
    StoreCopy(store, directory, &meter).copy_databases();
    replay_log(directory);
  });
}

int articledb_backup_check(const char* directory, ArticledbBackupFaultFunc fault,
                           ArticledbBulkProgressFunc progress, void* state) {
  return status_of([=] {
    WorkMeter meter(progress, state, EVERY_CALL);
    check_pages(
        directory, [=](const std::string& line) { fault(state, line.c_str()); }, &meter);
  });
}
