// All articles that are not in the databases yet, as a handle knows them: those of the segments,
// oldest first, and those of the journal, in memory.
#ifndef FENRA_STORE_WAITING_WAITING_VIEW_H
#define FENRA_STORE_WAITING_WAITING_VIEW_H

#include <glib.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/articledb.h"
#include "store/sorted/segment.h"
#include "store/waiting/segment_list.h"
#include "store/waiting/waiting_index.h"

namespace ostren::fenra::store {

// Ids ascend in everything that is given, from one place to the next. A lookup costs one in every
// segment and one in memory, and what it finds. What is found is valid until this changes. All of
// it throws Failed, EIO for a damaged segment, and std::bad_alloc.
class WaitingView {
 public:
  using Field = DB* ArticledbDb::*;

  // Opens the segments of a directory, and forgets the articles in memory. Those that were open
  // before stay so. The databases have whole the articles with ids up to `base`, and no other that
  // is to be seen.
  void begin(const std::string& directory, guint64 base, const SegmentRanges& segments);
  guint64 base() const { return base_; }

  bool is_empty() const { return segments_.empty() && memory_.empty(); }
  guint64 last_id() const;

  WaitingIndex& memory() { return memory_; }
  const WaitingIndex& memory() const { return memory_; }

  // ---- articles ----

  // The records of an id are not shown any more. A newer article of its URL, or a removal, waits.
  bool hides(guint64 id) const;

  // Records of an article that waits; empty when there is none of the id, or it is hidden.
  std::string_view url_record(guint64 id) const { return record(id, section::URL_RECORDS); }
  std::string_view text_record(guint64 id) const { return record(id, section::TEXTS); }

  // The id of the article that waits and is shown for a URL, which is a StoredKey; 0 for none.
  guint64 find_url(std::string_view url) const;

  // ---- lists ----

  // Whether the field is one of the databases of ids that lists can be had of: form, source, date,
  // trigram.
  static bool has_lists(Field field);

  // Appends up to `most` ids under the key that are not less than `least`.
  void read_ids(Field field, std::string_view key, guint64 least, size_t most,
                std::vector<guint64>* ids) const;

  bool has_id(Field field, std::string_view key, guint64 id) const;

  // The forms under a lemma that are greater than `after`, unless that is null, in byte order,
  // each once.
  std::vector<std::string_view> forms_of(std::string_view lemma,
                                         const std::string_view* after) const;

  // Calls `visit(id)` for the ids under each key for which `wanted(key)` holds; of a database of
  // forms, sources or dates. An id may come again.
  void scan_keys(Field field, const std::function<bool(std::string_view)>& wanted,
                 const std::function<void(guint64)>& visit) const;

  // The same for the trigrams that begin with the prefix.
  void scan_trigrams(std::string_view prefix, const std::function<void(guint64)>& visit) const;

 private:
  struct OpenSegment {
    SegmentRange range;
    std::shared_ptr<const Segment> segment;
  };

  const Segment* segment_of(guint64 id) const;
  std::string_view record(guint64 id, int section) const;

  guint64 base_ = 0;
  std::vector<OpenSegment> segments_;
  WaitingIndex memory_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WAITING_WAITING_VIEW_H
