// A copy of a store as it stands at one moment, made beside whoever writes to the
// store and without taking part in what they share.
#ifndef FENRA_CLI_SNAPSHOT_H
#define FENRA_CLI_SNAPSHOT_H

#include <string>

#include "cli/progress.h"

namespace cli {

class Snapshot {
 public:
  // Copies the database file of the store in `store`, then the log, then the journal, to the
  // temporary directory, and replays the whole log there. The copy then holds every article
  // that had been acknowledged when the copying of the log began; those that wait in the
  // journal come to its databases when it is opened as a store. Throws Failure
  // when the store cannot be read, the temporary directory cannot be written or the
  // log cannot be replayed. `line` shows how far the copying is.
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
