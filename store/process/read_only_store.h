// A store that is only read: without the gate, and without anything being written.
//
// Its files stay what they are for as long as nobody changes the store, so they can be read like
// any others. Whether that holds is looked at before and after every read: the database file and
// the list of segments by their times and sizes, and the gate file, which counts every change
// before it is made.
#ifndef FENRA_STORE_PROCESS_READ_ONLY_STORE_H
#define FENRA_STORE_PROCESS_READ_ONLY_STORE_H

#include <glib.h>

#include <memory>
#include <string>

#include "base/file.h"
#include "store/process/files_mark.h"
#include "store/process/gate_file.h"

namespace ostren::fenra::store {

class ReadOnlyStore {
 public:
  // Looks at the files of a directory. Returns 0; STATUS_NOT_IN_ORDER; EINVAL for files that
  // cannot be a store's; or the code of a system call. *complaint is then what is wrong and the
  // remedy, to be released with g_free; null when memory is short.
  static int open(const std::string& directory, std::unique_ptr<ReadOnlyStore>* store,
                  gchar** complaint);

  // Whether its files are as they were at the opening. Once they are not, they never are again.
  bool is_unchanged();

  // Whether the path of the opening still leads to them.
  bool is_in_place() const;

  // A number that is another one once they have been seen to have changed.
  guint64 changes() const { return changed_ ? 1 : 0; }

 private:
  explicit ReadOnlyStore(const std::string& directory);
  Descriptor open_file(const std::string& name) const;
  void require_order() const;
  bool has_closed_log() const;
  bool is_gate_unchanged() const;

  const std::string path_;
  const Descriptor directory_;
  const Descriptor database_;
  const Descriptor gate_;    // none without the file
  const FileMark mark_;      // of the database file
  const FileMark segments_;  // of their list
  const GateFile::Report report_;
  bool changed_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_READ_ONLY_STORE_H
