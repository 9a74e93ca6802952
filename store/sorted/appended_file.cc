#include "store/sorted/appended_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "base/failed.h"
#include "store/layout/store_files.h"

namespace ostren::fenra::store {

void adopt_mode_of_databases(const std::string& directory, int fd) {
  constexpr mode_t READING_AND_WRITING = 0666;
  struct stat status = {};
  if (stat((directory + "/" + DATABASE_FILE).c_str(), &status) == 0) {
    require_call(fchmod(fd, status.st_mode & READING_AND_WRITING));
  }
}

Descriptor make_nameless_file(const std::string& directory) {
  std::string name = directory + "/run.XXXXXX";
  Descriptor file(require_call(mkostemp(name.data(), O_CLOEXEC)));
  require_call(unlink(name.c_str()));
  return file;
}

}  // namespace ostren::fenra::store
