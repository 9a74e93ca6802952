#include <cerrno>
#include <memory>
#include <string>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/handles.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/stop.h"
#include "cli/store.h"

namespace cli {
namespace {

int show_progress(void* progress, guint64 done, guint64 total) {
  static_cast<Progress*>(progress)->working("backup", done, total);
  return stop_requested() ? 1 : 0;
}

ExitStatus backup(const std::string& store, const std::string& path) {
  require_store(store);
  catch_stop_signals();
  Progress progress;
  char* message = nullptr;
  const int status =
      articledb_backup(store.c_str(), path.c_str(), show_progress, &progress, &message);
  const GlibText owner(message);
  progress.clear();
  if (status == ECANCELED) {
    complain("interrupted: there is no backup");
    return kInterrupted;
  }
  if (status != 0) {
    throw Failure(message == nullptr ? status_text(status) : message);
  }
  return kSuccess;
}

}  // namespace

void add_backup_command(const Command& program, ExitStatus& status) {
  auto store = std::make_shared<std::string>();
  auto path = std::make_shared<std::string>();
  const Command command = program.add_command("backup", "Copy a store while others use it");
  command.add_text("STORE", *store, "Store directory").required();
  command.add_text("DIR", *path, "Directory of the copy, a new or an empty one").required();
  command.add_quiet();
  command.set_footer(
      "DIR becomes a store with all articles that had been stored before: verified, on the disk,\n"
      "and there in one step, or not at all. Nobody waits for it, and permission to read STORE is\n"
      "enough. Until then it is written to DIR.fenra-build. The pages and the order of all\n"
      "databases are verified; \"fenra verify DIR\" looks at the articles too.\n"
      "Example:\n"
      "  fenra backup articles.store backups/monday");
  command.set_action([=, &status] { status = backup(*store, *path); });
}

}  // namespace cli
