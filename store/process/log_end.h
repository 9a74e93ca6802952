// What the log of a store tells of its end.
#ifndef FENRA_STORE_PROCESS_LOG_END_H
#define FENRA_STORE_PROCESS_LOG_END_H

namespace ostren::fenra::store {

// Whether the log of a directory, which has one, says that the store was closed in order: after
// a checkpoint it has only been read. No page is written before the log tells of it, so the
// database file is whole then. Only reads, and minds no DB_CONFIG. Throws Failed.
bool log_ends_in_order(const char* directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_LOG_END_H
