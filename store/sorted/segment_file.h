// A segment for those who read it from end to end, in bounded memory.
#ifndef FENRA_STORE_SORTED_SEGMENT_FILE_H
#define FENRA_STORE_SORTED_SEGMENT_FILE_H

#include <glib.h>

#include <utility>

#include "base/file.h"
#include "store/sorted/segment_format.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

class SegmentFile : public SortedFile {
 public:
  // Throws Failed, EPROTO for what is no segment.
  explicit SegmentFile(Descriptor file)
      : file_(std::move(file)), footer_(read_footer(file_.get(), file_size(file_.get()))) {}

  guint64 first_id() const { return footer_.first_id; }
  guint64 last_id() const { return footer_.last_id; }

  guint64 begin_of(int section) const override { return footer_.sections[section].entries.begin; }
  guint64 end_of(int section) const override { return footer_.sections[section].entries.end; }
  std::optional<guint32> checksum_of(int section) const override {
    return footer_.sections[section].entries_checksum;
  }
  size_t read(guint64 offset, char* bytes, size_t size) const override {
    return read_whole(file_.get(), bytes, size, offset);
  }

 private:
  const Descriptor file_;
  const SegmentFooter footer_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SEGMENT_FILE_H
