#include "cli/snapshot.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "cli/failure.h"
#include "cli/handles.h"
#include "cli/store.h"

namespace cli {
namespace {

std::string make_directory() {
  std::string path = std::string(g_get_tmp_dir()) + "/fenra_verify_XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    throw Failure("cannot make the directory '" + path + "': " + std::strerror(errno));
  }
  return path;
}

void remove_directory(const std::string& path) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

int show_copying(void* line, guint64 done, guint64 total) {
  static_cast<StatusLine*>(line)->show([=](int) {
    return "copying: " + std::to_string(done >> 20) + " of " + std::to_string(total >> 20) + " MiB";
  });
  return 0;
}

}  // namespace

Snapshot::Snapshot(const std::string& store, StatusLine& line) {
  require_store(store);
  path_ = make_directory();
  char* message = nullptr;
  const int status =
      articledb_backup_snapshot(store.c_str(), path_.c_str(), show_copying, &line, &message);
  const GlibText owner(message);
  if (status != 0) {
    remove_directory(path_);
    throw Failure(message == nullptr ? status_text(status) : message);
  }
}

Snapshot::~Snapshot() { remove_directory(path_); }

}  // namespace cli
