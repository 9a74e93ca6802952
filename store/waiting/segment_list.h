// The file "fenra.segments" of a store directory: which segments hold articles that wait.
// docs/store-format.md has its layout.
#ifndef FENRA_STORE_WAITING_SEGMENT_LIST_H
#define FENRA_STORE_WAITING_SEGMENT_LIST_H

#include <glib.h>

#include <string>
#include <vector>

namespace ostren::fenra::store {

// A segment by the ids of its first article and its last one.
struct SegmentRange {
  guint64 first_id;
  guint64 last_id;

  // On disk: of its file.
  std::string name() const;

  bool operator==(const SegmentRange& other) const {
    return first_id == other.first_id && last_id == other.last_id;
  }
  bool operator!=(const SegmentRange& other) const { return !(*this == other); }
};

// Ascending, and without overlaps.
using SegmentRanges = std::vector<SegmentRange>;

// All of it throws Failed and std::bad_alloc.

// Reads the list of a directory; empty where there is none. EPROTO for what is no list of this
// version.
SegmentRanges read_segment_list(const std::string& directory);
SegmentRanges parse_segment_list(const std::string& bytes);

// Those of the list that the databases do not have, whose articles have ids up to `counter`. EPROTO
// for segments that are not of these databases.
SegmentRanges segments_behind(guint64 counter, SegmentRanges segments);

// Replaces it, whole or not at all, and returns when it is on the disk. Without segments there is
// no file.
void write_segment_list(const std::string& directory, const SegmentRanges& segments);

// Removes the segments of the directory that are not listed, among them what was left of one that
// was being written.
void remove_other_segments(const std::string& directory, const SegmentRanges& listed);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WAITING_SEGMENT_LIST_H
