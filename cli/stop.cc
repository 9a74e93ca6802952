#include "cli/stop.h"

#include <signal.h>

namespace cli {
namespace {

volatile sig_atomic_t requested = 0;

void request_stop(int) { requested = 1; }

}  // namespace

void catch_stop_signals() {
  struct sigaction action = {};
  action.sa_handler = request_stop;
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool stop_requested() { return requested != 0; }

}  // namespace cli
