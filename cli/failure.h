// How a command ends early, and the exit statuses of the program.
#ifndef FENRA_CLI_FAILURE_H
#define FENRA_CLI_FAILURE_H

#include <string>

#include "articles/failure.h"

namespace cli {

enum ExitStatus : int {
  kSuccess = 0,
  kFailed = 1,         // a store, a file or standard output failed
  kWrongCall = 2,      // the command line makes no sense
  kSomeRefused = 3,    // `index`, `rebuild`: at least one article was not stored; `delete`: found
  kInterrupted = 130,  // `index`, `rebuild`, `compact`, `backup`, `delete`:
                       // stopped by SIGINT or SIGTERM
};

using StoreFailure = ostren::fenra::articles::Failure;
using ostren::fenra::articles::status_text;

// Thrown by a command and turned into a message and an exit status by main(), as every
// StoreFailure is.
class Failure : public StoreFailure {
 public:
  explicit Failure(const std::string& message, ExitStatus status = kFailed)
      : StoreFailure(message), status_(status) {}

  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

}  // namespace cli

#endif  // FENRA_CLI_FAILURE_H
