// The files of a store that have been put into its directory, as when a copy is restored.
#ifndef FENRA_STORE_PROCESS_COPIED_FILES_H
#define FENRA_STORE_PROCESS_COPIED_FILES_H

#include "store/process/gate_file.h"

namespace ostren::fenra::store {

// Makes a store of files that do not belong together: the database file of a store that was
// closed in order is whole by itself, while the log files beside it may be those of another
// time, or missing, and would be taken for its own. They are removed then, and what the
// database file says of them is erased, which writes all of it. A log that may have to be
// replayed is left alone, and so is one that goes with its database. The list of segments of the
// database that was there before is removed.
//
// Nobody else has the store open. Returns 0, or a code after which the files are as good as
// before: the system's or Berkeley DB's.
int adopt_files(const char* directory, GateFile::Origin origin);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_COPIED_FILES_H
