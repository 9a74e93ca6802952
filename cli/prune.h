// `index --prune`: deleting the articles of a source that a run has not met.
#ifndef FENRA_CLI_PRUNE_H
#define FENRA_CLI_PRUNE_H

#include <string>
#include <unordered_set>

#include "cli/handles.h"
#include "cli/progress.h"

namespace cli {

// URLs as they are stored.
using Urls = std::unordered_set<std::string>;

// Deletes the articles of the source whose URL is none of those met; none of them after a run
// that was interrupted, or in which something was refused, and says so. Throws Failure.
void prune(ArticledbDb* db, const std::string& source, const Urls& met, Progress& progress);

}  // namespace cli

#endif  // FENRA_CLI_PRUNE_H
