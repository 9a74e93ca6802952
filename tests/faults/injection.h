// Faults in what the library, and Berkeley DB for it, ask of the system. The hooks are those
// of the whole process; allocations fail in Berkeley DB only.
#ifndef FENRA_TESTS_FAULTS_INJECTION_H
#define FENRA_TESTS_FAULTS_INJECTION_H

#include <cstdint>

namespace faults {

enum class Call { WRITE, FSYNC, ALLOCATION };

// Puts the hooks in, without any fault.
void install_hooks();

// What happens to a call: it fails, a write with ENOSPC, an fsync with EIO, an allocation with
// ENOMEM; it fails, and all such calls behind it; or it kills the process.
enum class Fault { ONCE, LASTING, DEATH };

// From now on it happens to the n-th such call, counted from 1.
void fail_call(Call call, int n, Fault fault);

// From now on there is room for so many more bytes in all files.
void fill_disk(int64_t bytes);

// Lifts the faults. Returns the number of calls that have failed.
int lift_faults();

}  // namespace faults

#endif  // FENRA_TESTS_FAULTS_INJECTION_H
