// `index --bulk`: a new store, built of all inputs at once on all processors.
#ifndef FENRA_CLI_BULK_BUILD_H
#define FENRA_CLI_BULK_BUILD_H

#include <string>

#include "cli/handles.h"
#include "cli/index_inputs.h"
#include "cli/progress.h"

namespace cli {

// Unless finish() succeeds there is nothing at the store's path, and `progress` is told
// so. All of it throws Failure.
class BulkBuild {
 public:
  // Refuses a path where there is something.
  BulkBuild(const std::string& store, const ArticledbRules& rules);

  // Adds the inputs in their order; refuses some of them. Ends early when a stop is
  // requested.
  void add_all(Inputs& inputs, Progress& progress);

  // Puts the store in its place, unless a stop is requested.
  void finish(Progress& progress);

 private:
  const std::string path_;
  const ArticledbRules& rules_;
  Bulk bulk_;
};

}  // namespace cli

#endif  // FENRA_CLI_BULK_BUILD_H
