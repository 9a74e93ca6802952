#include "store/sorted/run_file.h"

#include "base/file.h"
#include "store/sorted/entry.h"

namespace ostren::fenra::store {

void RunFile::write(std::string_view key, std::string_view payload) {
  append_entry(key, payload, file_.buffer());
  if (file_.is_full()) {
    file_.flush();
  }
}

void RunFile::end_section() {
  file_.flush();
  ends_.push_back(file_.size());
}

size_t RunFile::read(guint64 offset, char* bytes, size_t size) const {
  return read_whole(file_.fd(), bytes, size, offset);
}

}  // namespace ostren::fenra::store
