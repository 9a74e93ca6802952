// Survival of exit(1), with which the transducer engine answers to the overflow
// of its fixed stacks. For the one source of a target, which is linked with
// --wrap=exit.
#ifndef FENRA_TESTS_FUZZ_EXIT_TRAP_H
#define FENRA_TESTS_FUZZ_EXIT_TRAP_H

#include <csetjmp>

namespace fenra_fuzz {

// Where exit(1) goes instead of ending the process; null: nowhere.
inline jmp_buf* exit_trap = nullptr;

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

// The names that the linker gives to calls of exit and to exit itself.
extern "C" {
[[noreturn]] void __real_exit(int status);   // NOLINT(bugprone-reserved-identifier)
[[noreturn]] void __wrap_exit(int status) {  // NOLINT(bugprone-reserved-identifier)
  if (fenra_fuzz::exit_trap != nullptr && status == 1) {
    _longjmp(*fenra_fuzz::exit_trap, 1);
  }
  __real_exit(status);
}
}

#endif  // FENRA_TESTS_FUZZ_EXIT_TRAP_H
