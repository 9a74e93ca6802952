// The end of the process when one of the engine's two fixed stacks is misused.
#ifndef FENRA_FST_STACK_FAILURE_H
#define FENRA_FST_STACK_FAILURE_H

#include <cstdio>
#include <cstdlib>

namespace fenra_fst {

// Writes "Stack WHAT FILE:LINE" to standard error and exits with status 1.
[[noreturn]] inline void stack_failure(const char* what, const char* file, int line) {
  std::fprintf(stderr, "Stack %s %s:%d\n", what, file, line);
  std::exit(1);
}

}  // namespace fenra_fst

#endif  // FENRA_FST_STACK_FAILURE_H
