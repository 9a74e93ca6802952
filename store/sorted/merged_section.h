// One section of several sorted files, merged.
#ifndef FENRA_STORE_SORTED_MERGED_SECTION_H
#define FENRA_STORE_SORTED_MERGED_SECTION_H

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

// Reads the files from end to end in bounded memory. All of it throws Failed, with EIO for what
// is damaged, and std::bad_alloc.
class MergedSection {
 public:
  MergedSection(const SortedFiles& files, int section);
  ~MergedSection();
  MergedSection(const MergedSection&) = delete;
  MergedSection& operator=(const MergedSection&) = delete;

  // Goes on to the next entry, at the beginning to the first. False at the end.
  bool next();

  // Valid until next().
  std::string_view key() const;
  std::string_view payload() const;

 private:
  class Reader;

  void sift_down();

  // A heap, its least element in front.
  std::vector<std::unique_ptr<Reader>> readers_;
  bool started_ = false;
};

// Writes the section of all files as that of one: a key's ids in as few entries as hold them,
// a lemma pair once, and of records those whose id is `wanted`. Calls `step` for every entry that
// it reads. Does not end the section.
void merge_section(const SortedFiles& files, int section,
                   const std::function<bool(std::string_view id_bytes)>& wanted,
                   const std::function<void()>& step, SortedWriter* writer);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_MERGED_SECTION_H
