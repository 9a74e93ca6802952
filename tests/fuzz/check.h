// What every fuzz target uses: the check that a find trips, and the silencing of
// what the library prints about bad input.
#ifndef FENRA_TESTS_FUZZ_CHECK_H
#define FENRA_TESTS_FUZZ_CHECK_H

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Runs the target on one input. Returns 0; a find ends the process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fenra_fuzz {

// Goes past stdio, whose standard error may be silenced.
[[noreturn]] inline void fail(const char* condition, const char* file, int line) {
  dprintf(STDERR_FILENO, "%s:%d: does not hold: %s\n", file, line, condition);
  abort();
}

// Discards what is written to stderr and stdout through stdio from now on. The
// reports of sanitizers and of the fuzzing engine stay.
inline void silence_stdio() {
  static const bool silenced = [] {
    FILE* const sink = fopen("/dev/null", "w");
    if (sink == nullptr) {
      fail("/dev/null", __FILE__, __LINE__);
    }
    stdout = sink;
    stderr = sink;
    return true;
  }();
  static_cast<void>(silenced);
}

}  // namespace fenra_fuzz

#define FUZZ_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : fenra_fuzz::fail(#condition, __FILE__, __LINE__))

#endif  // FENRA_TESTS_FUZZ_CHECK_H
