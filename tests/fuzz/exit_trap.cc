#include "tests/fuzz/exit_trap.h"

namespace fenra_fuzz {
jmp_buf* exit_trap = nullptr;
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
