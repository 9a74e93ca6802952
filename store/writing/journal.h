// The articles that wait, as a handle on their store sees to them. docs/reliability.md has the
// design.
//
// An article that is indexed goes to the end of the journal, and is safe with one flush. A journal
// that is full becomes a segment, and segments are merged. All of them are read where they are;
// they are written to the databases, in the order of those, when somebody wants to have them there.
//
// Ids tell where an article is: up to the id counter in "iddb", which is written last, in the
// databases; up to the last id of the last segment there; and otherwise in the journal.
#ifndef FENRA_STORE_WRITING_JOURNAL_H
#define FENRA_STORE_WRITING_JOURNAL_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/articledb.h"
#include "store/process/gate_file.h"
#include "store/process/waiting_articles.h"
#include "store/waiting/journal_file.h"
#include "store/waiting/segment_list.h"
#include "store/waiting/waiting_view.h"
#include "store/writing/segment_merger.h"

namespace ostren::fenra::store {

class Journal : public WaitingArticles {
 public:
  // `directory` and `gate` outlive this.
  Journal(const char* directory, GateFile* gate)
      : directory_(directory), gate_(*gate), state_(*gate->journal()), merger_(directory) {}

  int settle(ArticledbDb* db) override { return is_settled() ? 0 : write_out_all(db); }

  int look(ArticledbDb* db) override;
  const WaitingView& view() const override { return view_; }

  int admits(ArticledbDb* db) override;
  int append(ArticledbDb* db, std::string* record, guint64 growth, guint64* id) override;
  int append_large(ArticledbDb* db, std::string_view url, ArticleEntries* entries,
                   guint64* id) override;
  int append_removal(ArticledbDb* db, std::string_view url) override;
  void forget_last_id() override { state_.last_id = 0; }

  void end_work(ArticledbDb* db) override;
  int set_aside(ArticledbDb* db) override;
  int remove_journal() override;

 private:
  bool is_settled() const {
    return state_.known != 0 && state_.applied == state_.end && state_.segments == 0;
  }
  int write_out_all(ArticledbDb* db);
  std::vector<JournalFile::Record> read_records(guint64 begin, std::string* bytes);
  void learn(ArticledbDb* db);
  void bring_up_to_date(ArticledbDb* db);
  void require_admission(ArticledbDb* db, guint64 growth, guint64* last_id);
  void write(ArticledbDb* db, guint64 growth, std::string* record, guint64* id);
  void make_segment(ArticledbDb* db);
  void add_segment(ArticleEntries* entries);
  void begin_anew();
  void publish(const SegmentRanges& segments);
  void tend_merging(ArticledbDb* db);
  void take_merged(ArticledbDb* db);
  void open_file(bool create);
  guint64 free_bytes() const;
  void report(ArticledbDb* db, int code, const char* what) const;

  const char* const directory_;
  GateFile& gate_;
  GateFile::JournalState& state_;
  std::unique_ptr<JournalFile> file_;
  WaitingView view_;
  SegmentRanges segments_;  // of the view
  SegmentMerger merger_;
  // What the view knows of: nothing; else the databases as they were at this number of changes, the
  // segments of this round, and the journal up to this offset.
  bool looked_ = false;
  guint64 looked_changes_ = 0;
  guint64 looked_round_ = 0;
  guint64 looked_end_ = 0;
  guint64 merging_round_ = 0;  // for which a merge has been looked for
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_JOURNAL_H
