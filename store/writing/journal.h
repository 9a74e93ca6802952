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
#include "store/process/waiting_articles.h"
#include "store/waiting/journal_file.h"
#include "store/waiting/waiting_index.h"

namespace ostren::fenra::store {

class Journal : public WaitingArticles {
 public:
  // `directory` and `gate` outlive this.
  Journal(const char* directory, GateFile* gate)
      : directory_(directory), gate_(*gate), state_(*gate->journal()) {}

  int settle(ArticledbDb* db) override { return is_settled() ? 0 : write_out(db); }

  int look(ArticledbDb* db) override;
  const WaitingIndex& index() const override { return index_; }

  int admits(ArticledbDb* db) override;
  int append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) override;
  void forget_last_id() override { state_.last_id = 0; }
  int remove() override;

 private:
  bool is_settled() const { return state_.known != 0 && state_.applied == state_.end; }
  int write_out(ArticledbDb* db);
  std::vector<JournalFile::Record> read_records(guint64 begin, std::string* bytes);
  void learn(ArticledbDb* db);
  void apply(ArticledbDb* db);
  void bring_up_to_date(ArticledbDb* db);
  void admit(ArticledbDb* db, guint64 growth, guint64* last_id);
  void make_way(ArticledbDb* db, guint64 bytes);
  void open_file(bool create);
  guint64 free_bytes() const;
  void report(ArticledbDb* db, int code, const char* what) const;

  const char* const directory_;
  GateFile& gate_;
  GateFile::JournalState& state_;
  std::unique_ptr<JournalFile> file_;
  WaitingIndex index_;
  // What the index knows of: nothing; else the databases as they were at this number of changes,
  // and the journal up to this offset.
  bool looked_ = false;
  guint64 looked_changes_ = 0;
  guint64 looked_end_ = 0;
};

// Writes what waits in the journal of a directory to the open databases of a store that nobody
// else has, and removes the journal when that is safe in the log. Throws Failed and
// std::bad_alloc.
void write_out_journal(ArticledbDb* db, const char* directory);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_H
