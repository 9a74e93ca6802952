// What the facade needs of the store beyond its exported operations.
#ifndef FENRA_STORE_CREATION_H
#define FENRA_STORE_CREATION_H

namespace ostren::fenra::store {

// Makes an existing directory a store in which articles can be indexed: an empty one,
// or one whose creation was cut short. Does nothing for a store that is complete, a
// path that is no directory, or null. Failures are reported on standard error, and
// show again when the store is opened.
void complete_store(const char* path);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_CREATION_H
