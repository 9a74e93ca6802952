// The shared memory of a store's environment: the files "__db.NNN" of its directory, and
// where the process has them mapped. The caller holds the store's gate.
#ifndef FENRA_STORE_PROCESS_REGIONS_H
#define FENRA_STORE_PROCESS_REGIONS_H

#include <glib.h>

namespace ostren::fenra::store {

struct RegionMapping {
  void* address;
  size_t length;
};

// The mutexes that a cache needs beyond those of the default one: one for each of its
// pages and for each bucket of its hash table, of which there are fewer. Caches below
// 500 MB are made a quarter larger than they are asked to be.
guint32 regions_additional_mutexes(guint64 cache_bytes);

// What the process has mapped of a directory's regions: GArray of RegionMapping.
GArray* regions_list(const char* directory);

// Notes what the opening of the environment has mapped: what is there now and was not
// before. The gate keeps every other opening of it away. Gives the files the disk space
// that they can come to need; returns 0 or the code of what failed.
int regions_take(const char* directory, const GArray* before, GArray* regions);

void regions_unmap(const GArray* regions);

// Deletes the files of the regions, which recovery makes anew with a cache of the given size:
// nobody who still has them mapped uses them. Returns 0 when the disk has room for the new
// ones; ENOSPC, with nothing deleted where that can be told before; or the code of what failed.
int regions_make_way(const char* directory, guint64 cache_bytes);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_REGIONS_H
