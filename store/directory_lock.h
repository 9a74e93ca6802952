// Tells the handles on one store directory, of this and of other processes, from
// each other: who opens it first has to run recovery, and must not do so while
// anyone else has it open.
//
// Every open handle is present in the directory, and openings and recoveries are
// serialised by a gate. Both are locks on the directory itself, of kinds that
// belong to an open file description: two handles of one process count as two,
// closing one does not disturb the other, and a killed process leaves nothing
// behind.
#ifndef FENRA_STORE_DIRECTORY_LOCK_H
#define FENRA_STORE_DIRECTORY_LOCK_H

struct ArticledbDirectoryLock;

namespace ostren {
namespace fenra {
namespace store {

// Enters the directory: waits for the gate, two minutes at most, and becomes
// present. *alone tells whether no one else is. The gate stays shut until
// directory_lock_open_gate or directory_lock_release. Returns 0, EBUSY when the gate
// stayed shut, or the code of the system call that failed; *lock is set on
// success only.
int directory_lock_enter(const char* path, ArticledbDirectoryLock** lock, bool* alone);

// Lets the next one in.
void directory_lock_open_gate(ArticledbDirectoryLock* lock);

// Leaves the directory, also for child processes that inherited the lock, and
// releases it. Null is allowed.
void directory_lock_release(ArticledbDirectoryLock* lock);

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_DIRECTORY_LOCK_H
