// Reading a segment: an immutable sorted file of articles that are not in the databases yet.
#ifndef FENRA_STORE_SORTED_SEGMENT_H
#define FENRA_STORE_SORTED_SEGMENT_H

#include <glib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/sorted/segment_format.h"

namespace ostren::fenra::store {

// The ids under a key of a segment, or some of them: a place in the segment, cheap to copy, and
// valid as long as that is.
class SegmentIds {
 public:
  // Of a key that is not there.
  SegmentIds() = default;

  // `entries`: a section from the key's first entry on.
  SegmentIds(std::string_view key, std::string_view entries, guint64 last_id)
      : key_(key), entries_(entries), last_id_(last_id) {}

  // Whether none are left.
  bool is_empty() const { return entries_.empty(); }

  // Appends ids from `least` on, at most so many, and goes on to where they end: of what is below
  // them, nothing can be read with this any more, but with a copy of how it was before. Takes a
  // look at the beginning of every entry that it passes over, up to 256 ids each, and decodes those
  // from the beginning of an entry on.
  void read(guint64 least, size_t most, std::vector<guint64>* ids);

  // Whether the id is there; goes on to the entry that has it, or would. Costs as reading one.
  bool contains(guint64 id);

  // How many there are from the beginning of the entry on to which read() has come; at first, all.
  // Looks at every byte of them.
  guint64 count() const;

 private:
  bool pass_below(guint64 least);
  bool takes_key(std::string_view* rest, std::string_view* payload) const;

  std::string_view key_;
  std::string_view entries_;  // from the present one on; empty at the end
  guint64 last_id_ = 0;       // none is higher
};

// Never changes, so that any number of threads may use it. What is found is in the mapping, and
// valid as long as this. Whatever damage a segment has, what is read lies in it; calls throw
// Failed, with EIO, where they come upon damage.
class Segment {
 public:
  // Maps a segment; the descriptor is not needed afterwards. Looks at the footer only. Throws
  // Failed, EPROTO for what is no segment, and std::bad_alloc.
  static std::shared_ptr<const Segment> map(int fd);
  static std::shared_ptr<const Segment> open(const std::string& path);
  ~Segment();
  Segment(const Segment&) = delete;
  Segment& operator=(const Segment&) = delete;

  // The articles have ids from the first to the last; not each of these need be an article's.
  guint64 first_id() const { return footer_.first_id; }
  guint64 last_id() const { return footer_.last_id; }
  guint64 bytes() const { return size_; }

  // Keys are entry_key(), which is worth making once for all segments. A look-up reads some places
  // of the section's index, about four in a section with bucket order and the logarithm of their
  // number in TRIGRAMS, and then walks over entries: ENTRIES_A_PLACE at most, but for the rest of
  // a long list.
  SegmentIds find(int section, std::string_view entry_key) const;

  // The record of an id in URL_RECORDS or TEXTS; empty where there is none. A look-up.
  std::string_view record(int section, guint64 id) const;

  // Appends the forms under a lemma, in byte order. A look-up, and a walk over them.
  void read_forms(std::string_view lemma, std::vector<std::string_view>* forms) const;

  // Whether an article of the segment hides the earlier one, a look-up; and all those ids, in
  // ascending order.
  bool hides(guint64 id) const;
  void read_hidden(std::vector<guint64>* ids) const;

  // Looks at every byte, in the order of the file. Returns what is wrong, or nothing.
  std::string verify() const;

 private:
  friend class SegmentKeys;

  Segment(guint64 size, const SegmentFooter& footer) : size_(size), footer_(footer) {}

  std::string_view range(const SegmentFooter::Range& range) const {
    return {bytes_ + range.begin, static_cast<size_t>(range.end - range.begin)};
  }
  std::string_view entries(int section) const { return range(footer_.sections[section].entries); }
  std::string_view index(int section) const { return range(footer_.sections[section].index); }

  std::string_view lower_bound(int section, std::string_view entry_key) const;

  const char* bytes_ = nullptr;
  const guint64 size_;
  const SegmentFooter footer_;
};

// The keys of a section of a segment, in ascending order of the entries' keys. Valid as long as the
// segment.
class SegmentKeys {
 public:
  // From the first key on that is not below `from`. A look-up.
  SegmentKeys(const Segment& segment, int section, std::string_view from = {});

  // Goes on to the next key, at the beginning to the first. False at the end. Passes over the
  // entries of the present one.
  bool next();

  // The entry's key; database_key() makes a database's of it.
  std::string_view key() const { return key_; }
  SegmentIds ids() const { return {key_, present_, last_id_}; }

 private:
  std::string_view present_;  // from the key's first entry on
  std::string_view rest_;     // from the next entry on
  std::string_view key_;
  const guint64 last_id_;
  bool started_ = false;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_SORTED_SEGMENT_H
