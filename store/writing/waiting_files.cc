#include "store/writing/waiting_files.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "base/failed.h"
#include "base/file.h"
#include "store/layout/id_counter.h"
#include "store/layout/stored_key.h"
#include "store/sorted/article_entries.h"
#include "store/sorted/run_file.h"
#include "store/sorted/segment_file.h"
#include "store/waiting/journal_article.h"
#include "store/writing/segment_writing.h"

namespace ostren::fenra::store {

std::vector<guint64> other_versions(ArticledbDb* db, std::string_view url, guint64 id,
                                    const WaitingView& view, Reach reach) {
  OtherVersions others;
  if (view.base() != 0) {
    require(read_other_versions(db, url, id, reach, &others));
    // Some that wait may be in the databases in part.
    const auto waits = [&view](guint64 other) { return other > view.base(); };
    others.ids.erase(std::remove_if(others.ids.begin(), others.ids.end(), waits), others.ids.end());
  }
  const guint64 shown = view.find_url(StoredKey(url).bytes());
  if (shown != 0) {
    others.ids.push_back(shown);
  }
  return others.ids;
}

void add_articles(ArticledbDb* db, const std::vector<JournalFile::Record>& records,
                  WaitingView* view) {
  for (const JournalFile::Record& record : records) {
    if (record.id > view->last_id()) {
      JournalArticle article = read_journal_article(record.id, record.payload);
      const Reach reach = article.is_removal() ? Reach::ALL : Reach::NEWEST;
      const auto others = other_versions(db, article.records.url, article.id, *view, reach);
      view->memory().add(std::move(article), others);
    }
  }
}

SortedFiles sorted_files(const std::string& directory, const SegmentRanges& segments,
                         const WaitingIndex& memory) {
  SortedFiles files;
  for (const SegmentRange& segment : segments) {
    files.push_back(std::make_unique<SegmentFile>(open_to_read(directory + "/" + segment.name())));
  }
  if (!memory.empty()) {
    ArticleEntries entries;
    memory.write_to(&entries);
    auto run = std::make_unique<RunFile>(directory);
    entries.write(run.get());
    files.push_back(std::move(run));
  }
  return files;
}

void write_out_waiting(ArticledbDb* db, const char* directory) {
  const guint64 counter = require_id_counter(db);
  const SegmentRanges segments = segments_behind(counter, read_segment_list(directory));
  WaitingView view;
  view.begin(directory, counter, segments);
  const std::unique_ptr<JournalFile> file = JournalFile::open(directory, false);
  if (file != nullptr) {
    add_articles(db,
                 file->read(JournalFile::BEGIN, JournalFile::MOST_BYTES, view.memory().new_bytes()),
                 &view);
  }
  if (!view.is_empty()) {
    write_out(db, sorted_files(directory, segments, view.memory()), view.last_id(), [] {});
    require(db->env->log_flush(db->env, nullptr));
  }
  write_segment_list(directory, {});
  remove_other_segments(directory, {});
  JournalFile::remove(directory);
}

}  // namespace ostren::fenra::store
