// What is done to the copy of a store, which nobody else has: in memory of its own, without
// the gate.
#ifndef FENRA_STORE_BACKUP_PRIVATE_STORE_H
#define FENRA_STORE_BACKUP_PRIVATE_STORE_H

#include <string>

namespace ostren::fenra::store {

// Replays the whole log. Throws Complaint.
void replay_log(const std::string& directory);

// Makes of the copy a store that has been closed in order: replays the whole log, writes what
// waits in the journal to the databases, brings everything into the database file and removes
// the logs that are not needed any more. Throws Complaint.
void put_in_order(const std::string& directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BACKUP_PRIVATE_STORE_H
