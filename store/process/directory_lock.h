// Tells the handles on one store directory, of this and of other processes, from
// each other: who is there, and who opens or closes right now.
//
// Every open handle is present in the directory, and openings and closings come
// one at a time, by turns. All of it are locks on the directory itself, of
// kinds that belong to an open file description: two handles of one process count
// as two, closing one does not disturb the other, and a killed process leaves
// nothing behind, in whatever namespace it had its number. A forked child has none of
// its parent's locks.
#ifndef FENRA_STORE_PROCESS_DIRECTORY_LOCK_H
#define FENRA_STORE_PROCESS_DIRECTORY_LOCK_H

struct ArticledbDirectoryLock;

namespace ostren::fenra::store {

// Enters the directory: takes the turn, for which it waits two minutes at most, and
// becomes present. *alone tells whether no one else is. The turn lasts until
// directory_lock_end_turn or directory_lock_release. Returns 0, EBUSY
// when another one kept the turn, or the code of the system call that failed;
// *lock is set on success only.
int directory_lock_enter(const char* path, ArticledbDirectoryLock** lock, bool* alone);

// Takes the turn again, before leaving. Results as directory_lock_enter.
int directory_lock_take_turn(ArticledbDirectoryLock* lock, bool* alone);

// Lets the next one in or out.
void directory_lock_end_turn(ArticledbDirectoryLock* lock);

// Presence in one of the numbered places, for as long as the lock lasts. Returns 0
// or the code of the system call. Only one handle may take a place at a time: in its
// turn.
int directory_lock_take_place(ArticledbDirectoryLock* lock, int place);

// Whether another handle is present in the place. A doubt counts as presence.
bool directory_lock_is_taken(const ArticledbDirectoryLock* lock, int place);

// Whether a handle is present in a directory, by an open descriptor of it.
bool directory_has_handles(int directory);

// Whether the lock is this process's own, and not that of the one it was forked from.
bool directory_lock_is_own(const ArticledbDirectoryLock* lock);

// Leaves the directory, also for child processes that inherited the lock, and
// releases it. Null is allowed.
void directory_lock_release(ArticledbDirectoryLock* lock);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_DIRECTORY_LOCK_H
