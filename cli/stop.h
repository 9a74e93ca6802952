// Stopping a run that writes to a store.
#ifndef FENRA_CLI_STOP_H
#define FENRA_CLI_STOP_H

namespace cli {

// From now on SIGINT and SIGTERM only ask the program to stop, once: the article at
// work is finished and the store closed before it ends. A second signal ends it at
// once.
void catch_stop_signals();

bool stop_requested();

}  // namespace cli

#endif  // FENRA_CLI_STOP_H
