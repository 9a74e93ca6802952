// How a segment ends: what is where in it.
//
// On disk: the sections one after the other, behind each its index, and the footer. An index has
// the places of some of its section's keys, in their order, by which a key is looked for.
#ifndef FENRA_STORE_SORTED_SEGMENT_FORMAT_H
#define FENRA_STORE_SORTED_SEGMENT_FORMAT_H

#include <glib.h>

#include "store/sorted/sections.h"

namespace ostren::fenra::store {

// On disk. The first key of a section is in its index, and then each that begins so many entries
// or more behind the last one that is.
constexpr size_t ENTRIES_A_PLACE = 16;

// On disk: a place of an index.
struct KeyPlace {
  guint64 prefix;  // prefix_of the key
  guint64 offset;  // of its first entry, from the beginning of the section
};
static_assert(sizeof(KeyPlace) == 16, "places have no gaps");

// On disk, at the end of the file.
struct SegmentFooter {
  struct Range {
    guint64 begin;
    guint64 end;
  };
  struct Section {
    Range entries;
    Range index;
    guint32 entries_checksum;  // CRC-32 of the bytes
    guint32 index_checksum;
  };

  Section sections[section::COUNT];
  guint64 first_id;  // the segment has the articles from here
  guint64 last_id;   // to here
  guint32 version;
  guint32 checksum;  // CRC-32 of the footer, this being 0
  char magic[8];
};
static_assert(sizeof(SegmentFooter) == section::COUNT * size_t{40} + 32, "footers have no gaps");

// Fills in version, magic and checksum.
void seal(SegmentFooter* footer);

// Reads the footer from the end of a file of `size` bytes. Throws Failed, EPROTO for what is no
// segment, or none of this version.
SegmentFooter read_footer(int fd, guint64 size);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SEGMENT_FORMAT_H
