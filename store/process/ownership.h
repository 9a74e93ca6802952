// Whose a store directory is, and what would be opened in it. What somebody else has
// prepared there, a link to a file elsewhere, or a file that he can change under a process
// that has it mapped, is not touched.
//
// Trusted are the effective user, root and, by root, everybody; in a directory also who owns
// it. Nothing may be writable by everybody; a group is up to the owner.
#ifndef FENRA_STORE_PROCESS_OWNERSHIP_H
#define FENRA_STORE_PROCESS_OWNERSHIP_H

#include <glib.h>
#include <sys/types.h>

namespace ostren::fenra::store {

// Looks at a directory, and at those files in it that the library or Berkeley DB would
// open. Returns 0; EPERM, when they cannot be trusted, with the reason and the remedy in
// *complaint, unless that is null, to be released with g_free; or the code of a system call.
int ownership_check(const char* directory, gchar** complaint);

// Opens a file of a directory, as open() does, unless it is a link or cannot be trusted.
// Returns the descriptor, or -1 with errno set: EPERM, or what the system says.
int open_own_file(const char* directory, const char* name, int flags, mode_t mode);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_OWNERSHIP_H
