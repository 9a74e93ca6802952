// The file "fenra.gate" of a store directory, mapped into every process that has
// the store open: the lock under which Berkeley DB is used, and what the
// processes have to know of each other. docs/store-format.md has its layout.
#ifndef FENRA_STORE_PROCESS_GATE_FILE_H
#define FENRA_STORE_PROCESS_GATE_FILE_H

#include <glib.h>

#include <memory>
#include <string>

#include "store/process/directory_lock.h"
#include "store/process/files_mark.h"

namespace ostren::fenra::store {

class GateFile {
 public:
  // Handles that can have the store open at a time.
  static constexpr int PLACES = 1000;

  // Maps the file of the directory. `first` says that nobody else has the store
  // open, which the caller has made sure of: the file is then made anew, whatever it
  // held, since a lock survives neither a reboot nor a copy; `configuration` is then
  // the fingerprint of the environment's settings. Returns 0; the code of the system
  // call that failed; EPROTO for a file of another version that is in use.
  static int open(const char* directory, bool first, guint32 configuration,
                  std::unique_ptr<GateFile>* file);
  ~GateFile();
  GateFile(const GateFile&) = delete;
  GateFile& operator=(const GateFile&) = delete;

  // Whether the file of a directory says that its store is complete. Takes no lock.
  static bool says_complete(const char* directory);

  // Where the files of a directory come from, by its gate file.
  enum class Origin {
    HERE,      // the store has been used with them, or has never been closed
    COPY,      // there is no gate file, or that of another directory
    PUT_OVER,  // since the store was closed here others have been put into their place
  };
  static Origin origin(const char* directory);

  // Whether other databases have been put into the place of those that the segments of a closed
  // store belong to.
  static bool has_foreign_segments(const char* directory);

  // What an open gate file says to somebody who only reads the store. Takes no lock.
  struct Report {
    enum class State {
      NOTHING,    // it is none of this version, or is just being made
      CLOSED,     // the store was closed in order
      UNCHANGED,  // it is open, was closed in order before, and nothing has been changed in it
      CHANGED
    };
    State state;
    guint64 generation;
    guint64 changes;
    FilesMark files;  // of a store that was closed
  };
  static Report report(int fd);

  // Whether the clean mark of an open gate file has been made since the machine was started.
  static bool is_of_this_run(int fd);

  // Waits for the lock, for a handle with a place. A holder is known by its place, and taken
  // for dead when nobody is present there any more: what it leaves behind needs recovery.
  // Returns 0; or EDEADLK in a thread that has entered the same gate. Gates of several stores
  // are left in reverse.
  int lock(const ArticledbDirectoryLock* directory, int place);
  void unlock();

  // Whether the calling thread holds the lock, taken with this.
  bool is_locked_by_thread() const;

  // Of the file as it was found: the last handle had closed the store in order, since
  // the machine was started, nothing has been done to it after that, and its
  // environment has been made with the present settings.
  bool was_clean() const { return was_clean_; }

  // The rest is used under the lock.

  // Number of the environment's present build, from 1; handles of an earlier one are
  // of no use any more.
  guint64 generation() const;

  // The environment has to be recovered before it is used; its present handles
  // lose it.
  void require_recovery();
  bool needs_recovery() const;
  // It has been: nothing is known of the journal, and no cursor is open.
  void note_recovery();

  // The fingerprint of the settings that the environment is made with.
  void set_configuration(guint32 configuration);

  // Marks the store as closed in order: its files are whole as they are now.
  void set_clean();

  // Since the first handle found the store closed in order nothing has been changed in it.
  bool unchanged() const;

  // The store has its id counter on disk.
  void set_complete();

  // A number that grows with every operation that may change what the databases hold,
  // before the change is made. It may be read without the lock.
  guint64 changes() const;
  void count_change();

  // The same for what is added to the journal.
  guint64 additions() const;
  void count_addition();

  // A number that grows before a URL record that somebody may have read is changed or
  // removed.
  guint64 replacements() const;
  void count_replacement();

  // What is known of the articles that wait.
  struct JournalState {
    guint32 known;     // 0: nothing; the file tells
    guint64 applied;   // offset behind the records that are in segments or the databases
    guint64 end;       // offset behind the last record
    guint64 last_id;   // the last id handed out; 0: the databases tell
    guint64 growth;    // bytes that the databases may grow by for what waits in the journal
    guint64 wanted;    // free bytes of the disk to wait for; 0: for none
    guint64 segments;  // how many there are
    guint64 rounds;    // grows whenever there are other segments, or the journal begins anew
  };
  JournalState* journal();

  // The number of Berkeley DB cursors that are open in the present environment.
  guint32 cursors() const;
  void set_cursors(guint32 cursors);

  // Which places a handle has moved into and not moved out of.
  bool occupied(int place) const;
  void set_occupied(int place, bool occupied);

 private:
  struct Layout;
  GateFile(const char* directory, Layout* layout) : directory_(directory), layout_(layout) {}
  static int map(const char* directory, int fd, std::unique_ptr<GateFile>* file);
  static bool read(int fd, Layout* layout);
  static bool read(const char* directory, Layout* layout);
  void initialise(const Layout& found, guint32 configuration);
  void wait_for_lock(const ArticledbDirectoryLock* directory, guint32 mine);

  const std::string directory_;
  Layout* const layout_;
  guint64 device_ = 0;
  guint64 inode_ = 0;
  const GateFile* outer_ = nullptr;  // that the thread was inside of before
  bool was_clean_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_PROCESS_GATE_FILE_H
