// Making one segment of several.
#ifndef FENRA_STORE_SORTED_SEGMENT_MERGE_H
#define FENRA_STORE_SORTED_SEGMENT_MERGE_H

#include <functional>
#include <string>
#include <vector>

namespace ostren::fenra::store {

// Writes the segments of the directory that are named in `parts` as one under `name`; they stay
// as they are. Their ids ascend from one to the next, and there is no segment between them.
// Records that one of them hides are left out, and among hidden ids those that lie between the
// first id and the last one.
//
// Reads and writes from end to end, with some 64 KiB of memory for each part, 1 MiB besides, and
// 8 bytes for a hidden id. Asks `gives_up` again and again. Throws Failed: ECANCELED when that
// says yes, EINVAL for other ids, EPROTO and EIO for damaged segments; and std::bad_alloc. Leaves
// nothing behind then.
void merge_segments(const std::string& directory, const std::vector<std::string>& parts,
                    const std::string& name, const std::function<bool()>& gives_up);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SEGMENT_MERGE_H
