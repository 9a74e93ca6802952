// The journal of a store, as a handle on it sees it. docs/reliability.md has the design.
//
// An article that is indexed goes to the end of the journal, and is safe with one flush. It
// waits there, with those that come after it, until somebody wants to know what the
// databases hold, or the journal is full; then all of them are written in the order of the
// databases, which costs each a small part of what it would cost alone.
//
// The id counter in "iddb" tells which of the journal's articles are in the databases:
// those with an id up to it. It is written last.
#ifndef FENRA_STORE_WRITING_JOURNAL_H
#define FENRA_STORE_WRITING_JOURNAL_H

#include <glib.h>

#include <memory>
#include <string>

#include "store/articledb.h"
#include "store/process/gate_file.h"
#include "store/writing/journal_file.h"

namespace ostren::fenra::store {

// All of it is used under the gate, with the environment in order.
class Journal {
 public:
  // Result of a call that the journal cannot serve: the article has to be written to the
  // databases at once.
  static constexpr int DECLINED = -1002;

  // `directory` and `gate` outlive this.
  Journal(const char* directory, GateFile* gate)
      : directory_(directory), gate_(*gate), state_(*gate->journal()) {}

  // Writes the waiting articles to the databases. Returns 0, or a code after which they
  // wait on: Berkeley DB's, the system's, -1 when memory is short, EPROTO for a journal
  // that cannot be read. Failures that do not pass by themselves are reported. After an
  // ENOSPC it is tried again only when the disk has more room.
  int settle(ArticledbDb* db) { return is_settled() ? 0 : write_out(db); }

  // The same for somebody who reads, and waits. While there are readers the articles are
  // written out in smaller numbers, so that nobody waits for more than a tenth of a second,
  // going by what it took before; when no more come, the numbers grow again, to what takes
  // three seconds.
  int settle_for_reader(ArticledbDb* db);

  // Whether it takes articles: 0, DECLINED, or the code of what failed.
  int admits(ArticledbDb* db);

  // Adds an article and waits for the disk. `record` is as JournalFile::write takes it, and
  // the databases will grow by up to `growth` bytes for the article.
  // Returns 0 and the article's id; DECLINED; or the code of what failed.
  int append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id);

  // The databases' counter is about to be changed.
  void forget_last_id() { state_.last_id = 0; }

  // Removes the file, once all that it tells is safe without it.
  int remove();

 private:
  bool is_settled() const { return state_.known != 0 && state_.applied == state_.end; }
  int write_out(ArticledbDb* db);
  void apply(ArticledbDb* db);
  void admit(ArticledbDb* db, guint64 growth, guint64* last_id);
  void make_way(ArticledbDb* db, guint64 bytes);
  void open_file(bool create);
  guint64 free_bytes() const;
  guint64 most_bytes() const;
  void report(ArticledbDb* db, int code) const;

  const char* const directory_;
  GateFile& gate_;
  GateFile::JournalState& state_;
  std::unique_ptr<JournalFile> file_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_H
