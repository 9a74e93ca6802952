// A copy of a store as it stands at one moment, made beside whoever writes to the
// store and without taking part in what they share.
#ifndef FENRA_CLI_SNAPSHOT_H
#define FENRA_CLI_SNAPSHOT_H

#include <string>

#include "cli/progress.h"

namespace cli {

class Snapshot {
 public:
  // An articledb_backup_snapshot of the store in `store` in the temporary directory. Throws
  // Failure. `line` shows how far the copying is.
  Snapshot(const std::string& store, StatusLine& line);
  ~Snapshot();
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  // The copy's directory, removed with this object.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace cli

#endif  // FENRA_CLI_SNAPSHOT_H
