#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"
#include "cli/store_check.h"

namespace cli {
namespace {

struct Check {
  StatusLine& line;
  Findings& problems;
};

void add_problem(void* check, const char* problem) {
  static_cast<Check*>(check)->problems.add(problem);
}

int show_databases(void* check, guint64 done, guint64 total) {
  static_cast<Check*>(check)->line.show(
      [=](int) { return "pages: " + std::to_string(done) + " of " + std::to_string(total); });
  return 0;
}

}  // namespace

void check_pages(const std::string& path, StatusLine& line, CheckResult& result) {
  Check check = {line, result.problems};
  const int status = articledb_backup_check(path.c_str(), add_problem, show_databases, &check);
  if (status != 0) {
    throw Failure("cannot check the pages of '" + path + "': " + status_text(status));
  }
}

}  // namespace cli
