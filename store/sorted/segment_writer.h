// Writing segments: immutable sorted files with an index for looking keys up.
#ifndef FENRA_STORE_SORTED_SEGMENT_WRITER_H
#define FENRA_STORE_SORTED_SEGMENT_WRITER_H

#include <glib.h>

#include <optional>
#include <string>
#include <string_view>

#include "store/sorted/appended_file.h"
#include "store/sorted/article_entries.h"
#include "store/sorted/segment_format.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

// Under which a segment is written until it is whole: its name, this, and six characters. A
// killed process leaves such a file, which is of no use to anybody.
constexpr char SEGMENT_DRAFT_INFIX[] = ".new-";

// Takes bounded memory. All of it throws Failed and std::bad_alloc.
class SegmentWriter : public SortedWriter {
 public:
  // For a file of that name in the directory; the file comes with finish().
  SegmentWriter(const std::string& directory, const std::string& name);

  // Leaves nothing behind when finish() has not been called.
  ~SegmentWriter() override;
  SegmentWriter(const SegmentWriter&) = delete;
  SegmentWriter& operator=(const SegmentWriter&) = delete;

  void write(std::string_view key, std::string_view payload) override;
  void end_section() override;

  // When all sections have been written: brings the segment to the disk, under its name, in the
  // place of any other file of that name.
  void finish(guint64 first_id, guint64 last_id);

 private:
  SegmentFooter::Section& present() { return footer_.sections[section_]; }
  void flush();
  void note_place(std::string_view key, guint64 offset);
  void append_index();

  const std::string directory_;
  const std::string path_;
  std::string draft_;  // empty: it is not there
  AppendedFile file_;
  SegmentFooter footer_ = {};
  size_t section_ = 0;
  std::string key_;                    // of the entry before
  size_t entries_ = 0;                 // since the last place, with the one there
  std::string places_;                 // of the section that are in memory
  std::optional<AppendedFile> spill_;  // those before them
};

// Writes the entries, of one article or more, as a segment. They are of no use then.
void write_segment(const std::string& directory, const std::string& name, ArticleEntries* entries);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SEGMENT_WRITER_H
