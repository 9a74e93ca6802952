// Faults in what the library, and Berkeley DB for it, ask of the system. The hooks are those
// of the whole process; allocations fail in Berkeley DB only.
#ifndef FENRA_TESTS_FAULTS_INJECTION_H
#define FENRA_TESTS_FAULTS_INJECTION_H

#include <cstdint>

namespace faults {

enum class Call { WRITE, FSYNC, ALLOCATION };

// Puts the hooks in, without any fault.
void install_hooks();

// From now on the n-th such call, counted from 1, fails, and with `lasting` all behind it
// too: a write with ENOSPC, an fsync with EIO, an allocation with ENOMEM.
void fail_call(Call call, int n, bool lasting);

// From now on there is room for so many more bytes in all files.
void fill_disk(int64_t bytes);

// Lifts the faults. Returns the number of calls that have failed.
int lift_faults();

}  // namespace faults

#endif  // FENRA_TESTS_FAULTS_INJECTION_H
