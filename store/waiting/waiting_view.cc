#include "store/waiting/waiting_view.h"

#include <algorithm>

#include "base/failed.h"
#include "store/sorted/sections.h"

namespace ostren::fenra::store {
namespace {

void visit_all(SegmentIds ids, const std::function<void(guint64)>& visit) {
  std::vector<guint64> read;
  ids.read(0, G_MAXSIZE, &read);
  std::for_each(read.begin(), read.end(), visit);
}

}  // namespace

void WaitingView::begin(const std::string& directory, guint64 base, const SegmentRanges& segments) {
  std::vector<OpenSegment> opened;
  for (const SegmentRange& range : segments) {
    const auto known =
        std::find_if(segments_.begin(), segments_.end(),
                     [&](const OpenSegment& before) { return before.range == range; });
    opened.push_back(known != segments_.end()
                         ? *known
                         : OpenSegment{range, Segment::open(directory + "/" + range.name())});
    const Segment& segment = *opened.back().segment;
    require(segment.first_id() != range.first_id || segment.last_id() != range.last_id ? EPROTO
                                                                                       : 0);
  }
  segments_ = std::move(opened);
  base_ = base;
  memory_.begin();
}

guint64 WaitingView::last_id() const {
  return !memory_.empty()    ? memory_.last_id()
         : segments_.empty() ? base_
                             : segments_.back().range.last_id;
}

// ---- articles ----

const Segment* WaitingView::segment_of(guint64 id) const {
  const auto found = std::lower_bound(
      segments_.begin(), segments_.end(), id,
      [](const OpenSegment& s, guint64 wanted) { return s.range.last_id < wanted; });
  return found == segments_.end() || found->range.first_id > id ? nullptr : found->segment.get();
}

bool WaitingView::hides(guint64 id) const {
  return memory_.hides(id) ||
         std::any_of(segments_.rbegin(), segments_.rend(), [id](const OpenSegment& open) {
           return open.range.first_id > id && open.segment->hides(id);
         });
}

std::string_view WaitingView::record(guint64 id, int section) const {
  const JournalArticle* const article = memory_.article(id);
  const Segment* const segment = article == nullptr ? segment_of(id) : nullptr;
  if ((article == nullptr && segment == nullptr) || hides(id)) {
    return {};
  }
  return segment != nullptr                ? segment->record(section, id)
         : section == section::URL_RECORDS ? article->records.url_record
                                           : article->records.text_record;
}

// Whatever is older than the newest one of a URL is hidden.
guint64 WaitingView::find_url(std::string_view url) const {
  const JournalArticle* const newest = memory_.newest_of_url(url);
  if (newest != nullptr) {
    return newest->id;
  }
  const std::string key = entry_key(section::URLS, url);
  for (auto open = segments_.rbegin(); open != segments_.rend(); ++open) {
    std::vector<guint64> ids;
    open->segment->find(section::URLS, key).read(0, G_MAXSIZE, &ids);
    if (!ids.empty() && !url_record(ids.back()).empty()) {
      return ids.back();
    }
  }
  return 0;
}

// ---- lists ----

bool WaitingView::has_lists(Field field) {
  return field == &ArticledbDb::formdb || field == &ArticledbDb::sourcedb ||
         field == &ArticledbDb::datedb || field == &ArticledbDb::trigramdb;
}

void WaitingView::read_ids(Field field, std::string_view key, guint64 least, size_t most,
                           std::vector<guint64>* ids) const {
  const size_t end = ids->size() + most;
  if (!segments_.empty() && segments_.back().range.last_id >= least) {
    const int section = section_of(field);
    const std::string wanted = entry_key(section, key);
    for (auto open = segments_.begin(); open != segments_.end() && ids->size() < end; ++open) {
      if (open->range.last_id >= least) {
        open->segment->find(section, wanted).read(least, end - ids->size(), ids);
      }
    }
  }
  memory_.read_ids(field, key, least, end - ids->size(), ids);
}

bool WaitingView::has_id(Field field, std::string_view key, guint64 id) const {
  const Segment* const segment = segment_of(id);
  const int section = section_of(field);
  return segment != nullptr ? segment->find(section, entry_key(section, key)).contains(id)
                            : memory_.has_id(field, key, id);
}

std::vector<std::string_view> WaitingView::forms_of(std::string_view lemma,
                                                    const std::string_view* after) const {
  std::vector<std::string_view> forms;
  for (const OpenSegment& open : segments_) {
    open.segment->read_forms(lemma, &forms);
  }
  memory_.read_forms(lemma, &forms);
  std::sort(forms.begin(), forms.end());
  forms.erase(std::unique(forms.begin(), forms.end()), forms.end());
  if (after != nullptr) {
    forms.erase(forms.begin(), std::upper_bound(forms.begin(), forms.end(), *after));
  }
  return forms;
}

void WaitingView::scan_keys(Field field, const std::function<bool(std::string_view)>& wanted,
                            const std::function<void(guint64)>& visit) const {
  const int section = section_of(field);
  for (const OpenSegment& open : segments_) {
    for (SegmentKeys keys(*open.segment, section); keys.next();) {
      if (wanted(database_key(section, keys.key()))) {
        visit_all(keys.ids(), visit);
      }
    }
  }
  memory_.scan_keys(field, wanted, visit);
}

void WaitingView::scan_trigrams(std::string_view prefix,
                                const std::function<void(guint64)>& visit) const {
  for (const OpenSegment& open : segments_) {
    SegmentKeys keys(*open.segment, section::TRIGRAMS, prefix);
    while (keys.next() && keys.key().substr(0, prefix.size()) == prefix) {
      visit_all(keys.ids(), visit);
    }
  }
  memory_.scan_trigrams(prefix, visit);
}

}  // namespace ostren::fenra::store
