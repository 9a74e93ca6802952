// Copies the files of a store beside whoever writes to it, without taking part in what they
// share.
#ifndef FENRA_STORE_BACKUP_STORE_COPY_H
#define FENRA_STORE_BACKUP_STORE_COPY_H

#include <glib.h>

#include <array>
#include <map>
#include <memory>
#include <string>

#include "base/file.h"
#include "store/bulk/work_meter.h"

namespace ostren::fenra::store {

// Log files are removed by the store's users once the database file has what they tell; the
// copy of it may be older. An open file outlives its removal, so every log file is opened
// before that can happen to it: at the beginning and, those that come later, between any two
// blocks.
//
// What the log tells may end in the middle of articles that are being written to the databases:
// the journal and the segments have to have all of them, so they are copied after the log. They
// have them unless the journal has begun anew in the meantime, or there are other segments; then
// all are copied once more. Segments never change, so those of the list are only opened in that
// time.
//
// All of it throws Complaint: EAGAIN where the store changes too fast.
class StoreCopy {
 public:
  // From one directory to another, which exists. What arguments name outlives this.
  StoreCopy(std::string from, std::string to, WorkMeter* meter);

  // Copies the database file, then the log, then the journal and the segments. When the whole log
  // has been replayed there, the copy has every article that had been acknowledged when the copying
  // of the log began.
  void copy_databases();

  // Copies the other files: but for what belongs to those who have the store open. What is no
  // regular file is left out. EAGAIN when the store has been compacted meanwhile.
  void copy_other_files();

 private:
  // A multiple of the page size.
  static constexpr size_t BLOCK_BYTES = 64 << 10;
  using Block = std::array<char, BLOCK_BYTES>;

  std::string source(const std::string& name) const { return from_ + "/" + name; }
  Descriptor open_source(const std::string& name) const;
  void open_logs();
  void require_whole_log() const;
  std::string waiting_round() const;
  bool open_segments();
  void copy_logs();
  void copy_or_remove(const std::string& name);
  void copy(const Descriptor& from, const std::string& name);
  size_t read_block(const Descriptor& from, guint64 at, const std::string& name);
  void require_same_store() const;

  const std::string from_;
  const std::string to_;
  WorkMeter& meter_;
  Descriptor directory_;
  const std::unique_ptr<Block> block_ = std::make_unique<Block>();
  const std::unique_ptr<Block> again_ = std::make_unique<Block>();
  std::map<std::string, Descriptor> logs_;
  std::map<std::string, Descriptor> segments_;
  bool copying_ = false;
  guint64 total_ = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BACKUP_STORE_COPY_H
