// A sorted run: a temporary file without a name.
#ifndef FENRA_STORE_SORTED_RUN_FILE_H
#define FENRA_STORE_SORTED_RUN_FILE_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "store/sorted/appended_file.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

class RunFile : public SortedWriter, public SortedFile {
 public:
  // Makes an empty one in the directory.
  explicit RunFile(const std::string& directory) : file_(make_nameless_file(directory)) {}

  void write(std::string_view key, std::string_view payload) override;
  void end_section() override;

  guint64 begin_of(int section) const override {
    return section == 0 ? 0 : ends_[static_cast<size_t>(section) - 1];
  }
  guint64 end_of(int section) const override { return ends_[static_cast<size_t>(section)]; }
  std::optional<guint32> checksum_of(int) const override { return {}; }
  size_t read(guint64 offset, char* bytes, size_t size) const override;

 private:
  AppendedFile file_;
  std::vector<guint64> ends_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_RUN_FILE_H
