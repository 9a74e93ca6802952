// Survival of exit(1), with which the transducer engine answers to the overflow
// of its fixed stacks. Targets that use it are linked with --wrap=exit.
#ifndef FENRA_TESTS_FUZZ_EXIT_TRAP_H
#define FENRA_TESTS_FUZZ_EXIT_TRAP_H

#include <csetjmp>

namespace fenra_fuzz {

// Where exit(1) goes instead of ending the process; null: nowhere.
extern jmp_buf* exit_trap;

// Runs `body` and returns true, or false when it called exit(1). It is left by a
// jump then, so nothing between the two may have a destructor to run.
template <typename Body>
bool survives(const Body& body) {
  jmp_buf here;
  if (_setjmp(here) != 0) {
    exit_trap = nullptr;
    return false;
  }
  exit_trap = &here;
  body();
  exit_trap = nullptr;
  return true;
}

}  // namespace fenra_fuzz

#endif  // FENRA_TESTS_FUZZ_EXIT_TRAP_H
