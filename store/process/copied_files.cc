#include "store/process/copied_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/failed.h"
#include "base/file.h"
#include "base/handles.h"
#include "store/layout/database.h"
#include "store/layout/schema.h"
#include "store/process/files_mark.h"
#include "store/process/log_end.h"

namespace ostren::fenra::store {
namespace {

void close_environment(DB_ENV* env) { env->close(env, 0); }

// Whether a page of the database file names a place in a log, as the first number that it
// begins with. Those of a store that was built in bulk or compacted do not.
bool names_log(const std::string& path) {
  constexpr size_t BLOCK_BYTES = size_t{PAGE_BYTES} * 64;
  bool found = false;
  // What cannot be read shows when the store is opened.
  status_of([&] {
    const Descriptor file = open_to_read(path, O_NOFOLLOW);
    std::vector<char> block(BLOCK_BYTES);
    size_t count = BLOCK_BYTES;
    for (guint64 at = 0; !found && count == BLOCK_BYTES; at += count) {
      count = read_whole(file.get(), block.data(), BLOCK_BYTES, at);
      for (size_t page = 0; !found && page + PAGE_BYTES <= count; page += PAGE_BYTES) {
        guint32 log = 0;
        memcpy(&log, &block[page], sizeof log);
        found = log != 0;
      }
    }
  });
  return found;
}

bool follow_each_other(const std::vector<guint32>& numbers) {
  return numbers.empty() || numbers.back() - numbers.front() + 1 == numbers.size();
}

// The log is removed when the database file is on the disk without it: cut short, all of it
// is done again.
void stand_alone(const std::string& directory, const std::vector<guint32>& logs) {
  const std::string file = directory + "/" + DATABASE_FILE;
  {
    DB_ENV* made = nullptr;
    require(db_env_create(&made, 0));
    const std::unique_ptr<DB_ENV, Releaser<close_environment>> env(made);
    made->set_errcall(made, drop_message);
    require(made->open(made, directory.c_str(), DB_CREATE | DB_PRIVATE | DB_INIT_MPOOL, 0));
    require(env->lsn_reset(env.get(), DATABASE_FILE, 0));
    require(env->memp_sync(env.get(), nullptr));
  }
  sync_path(file);
  for (const guint32 number : logs) {
    require_call(unlink((directory + "/" + log_name(number)).c_str()));
  }
  sync_path(directory);
}

}  // namespace

int adopt_files(const char* directory, GateFile::Origin origin) {
  const std::string file = std::string(directory) + "/" + DATABASE_FILE;
  struct stat status = {};
  if (origin == GateFile::Origin::HERE || stat(file.c_str(), &status) != 0) {
    return 0;
  }
  return status_of([&] {
    if (GateFile::has_foreign_segments(directory)) {
      require_call(unlink((std::string(directory) + "/" + SEGMENTS_FILE).c_str()));
      sync_path(directory);
    }
    const std::vector<guint32> logs = log_numbers(directory);
    if (logs.empty() ? !names_log(file)
                     : origin == GateFile::Origin::COPY && follow_each_other(logs)) {
      return;
    }
    if (logs.empty() || log_ends_in_order(directory)) {
      stand_alone(directory, logs);
    }
  });
}

}  // namespace ostren::fenra::store
