#include "store/sorted/segment.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/failed.h"
#include "base/file.h"
#include "store/layout/database.h"
#include "store/layout/key_order.h"
#include "store/sorted/entry.h"
#include "store/sorted/id_list.h"

namespace ostren::fenra::store {
namespace {

// The index of a section.
class Places {
 public:
  Places(std::string_view index, std::string_view entries)
      : index_(index), entries_(entries), count_(index.size() / sizeof(KeyPlace)) {}

  // How many of the keys are not above this one. They are looked for from `guess` on.
  size_t count_up_to(std::string_view key, size_t guess) const {
    const guint64 prefix = prefix_of(key);
    size_t low = first_from(prefix, guess);
    size_t high = low;
    for (size_t step = 1; high < count_ && prefix_at(high) == prefix; step *= 2) {
      high = std::min(high + step, count_);
    }
    // Those below `low` are not above the key, those from `high` on are.
    while (low < high) {
      const size_t middle = low + (high - low) / 2;
      const bool is_above =
          prefix_at(middle) != prefix ? prefix_at(middle) > prefix : key_at(middle) > key;
      (is_above ? high : low) = is_above ? middle : middle + 1;
    }
    return low;
  }

  // Where the bucket orders of keys, which are spread evenly, let a key be expected.
  size_t expected(std::string_view key) const {
    return static_cast<size_t>((prefix_of(key) >> 32) * count_ >> 32);
  }

  size_t middle() const { return count_ / 2; }

  std::string_view entries_from(size_t place) const {
    const guint64 offset = field(place, offsetof(KeyPlace, offset));
    require(offset >= entries_.size() ? EIO : 0);
    return entries_.substr(offset);
  }

 private:
  // The first place whose prefix is not below: by ever longer steps from the guess, and by halves
  // between the last two of them.
  size_t first_from(guint64 prefix, size_t guess) const {
    constexpr size_t FIRST_STEP = 8;
    size_t low = 0;
    size_t high = count_;
    if (guess < high && prefix_at(guess) < prefix) {
      low = guess + 1;
      for (size_t step = FIRST_STEP; low + step < high; step *= 2) {
        if (prefix_at(low + step) >= prefix) {
          high = low + step;
          break;
        }
        low += step + 1;
      }
    } else {
      high = std::min(guess, high);
      for (size_t step = FIRST_STEP; low + step < high; step *= 2) {
        if (prefix_at(high - step) < prefix) {
          low = high - step + 1;
          break;
        }
        high -= step;
      }
    }
    while (low < high) {
      const size_t middle = low + (high - low) / 2;
      const bool is_below = prefix_at(middle) < prefix;
      (is_below ? low : high) = is_below ? middle + 1 : middle;
    }
    return low;
  }

  guint64 field(size_t place, size_t member) const {
    guint64 number = 0;
    memcpy(&number, index_.data() + place * sizeof(KeyPlace) + member, sizeof number);
    return number;
  }
  guint64 prefix_at(size_t place) const { return field(place, offsetof(KeyPlace, prefix)); }

  std::string_view key_at(size_t place) const {
    std::string_view rest = entries_from(place);
    return take_entry(&rest).key;
  }

  const std::string_view index_;
  const std::string_view entries_;
  const size_t count_;
};

}  // namespace

// ---- ids ----

// Takes an entry off the front, if there is one of this key.
bool SegmentIds::takes_key(std::string_view* rest, std::string_view* payload) const {
  if (rest->empty()) {
    return false;
  }
  const Entry entry = take_entry(rest);
  *payload = entry.payload;
  return entry.key == key_;
}

// Goes on to the last entry that does not begin above `least`, or stays. False at the end.
bool SegmentIds::pass_below(guint64 least) {
  std::string_view payload;
  std::string_view rest = entries_;
  if (!takes_key(&rest, &payload)) {
    entries_ = {};
    return false;
  }
  for (std::string_view next = rest; takes_key(&rest, &payload); next = rest) {
    if (IdReader(payload).next() > least) {
      break;
    }
    entries_ = next;
  }
  return true;
}

void SegmentIds::read(guint64 least, size_t most, std::vector<guint64>* ids) {
  while (most > 0 && pass_below(least)) {
    std::string_view rest = entries_;
    for (IdReader reader(take_entry(&rest).payload); !reader.at_end();) {
      const guint64 id = reader.next();
      require(id > last_id_ ? EIO : 0);
      if (id < least) {
        continue;
      }
      if (most == 0) {
        return;
      }
      ids->push_back(id);
      least = id + 1;
      --most;
    }
    entries_ = rest;
  }
}

bool SegmentIds::contains(guint64 id) {
  if (!pass_below(id)) {
    return false;
  }
  std::string_view rest = entries_;
  for (IdReader reader(take_entry(&rest).payload); !reader.at_end();) {
    const guint64 found = reader.next();
    if (found >= id) {
      return found == id;
    }
  }
  return false;
}

guint64 SegmentIds::count() const {
  guint64 count = 0;
  std::string_view payload;
  for (std::string_view rest = entries_; takes_key(&rest, &payload);) {
    count += count_ids(payload);
  }
  return count;
}

// ---- the mapping ----

std::shared_ptr<const Segment> Segment::map(int fd) {
  const guint64 size = file_size(fd);
  std::unique_ptr<Segment> segment(new Segment(size, read_footer(fd, size)));
  void* const bytes = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
  require(bytes == MAP_FAILED ? errno : 0);
  segment->bytes_ = static_cast<const char*>(bytes);
  return segment;
}

std::shared_ptr<const Segment> Segment::open(const std::string& path) {
  return map(open_to_read(path).get());
}

Segment::~Segment() {
  if (bytes_ != nullptr) {
    munmap(const_cast<char*>(bytes_), size_);
  }
}

// ---- looking up ----

// The section from the first entry on whose key is not below.
std::string_view Segment::lower_bound(int section, std::string_view entry_key) const {
  std::string_view rest = entries(section);
  const Places places(index(section), rest);
  const size_t before = places.count_up_to(
      entry_key, has_bucket_order(section) ? places.expected(entry_key) : places.middle());
  if (before == 0) {
    return rest;
  }
  rest = places.entries_from(before - 1);
  for (std::string_view next = rest; !rest.empty(); rest = next) {
    if (take_entry(&next).key >= entry_key) {
      break;
    }
  }
  return rest;
}

SegmentIds Segment::find(int section, std::string_view entry_key) const {
  const std::string_view found = lower_bound(section, entry_key);
  if (found.empty()) {
    return {};
  }
  std::string_view rest = found;
  const std::string_view key = take_entry(&rest).key;
  return key == entry_key ? SegmentIds(key, found, last_id()) : SegmentIds();
}

std::string_view Segment::record(int section, guint64 id) const {
  const std::string key = entry_key(section, id_bytes(id));
  std::string_view rest = lower_bound(section, key);
  if (rest.empty()) {
    return {};
  }
  const Entry entry = take_entry(&rest);
  return entry.key == key ? entry.payload : std::string_view();
}

void Segment::read_forms(std::string_view lemma, std::vector<std::string_view>* forms) const {
  const std::string prefix = lemma_prefix(lemma);
  std::string_view rest = lower_bound(section::LEMMAS, prefix);
  while (!rest.empty()) {
    const std::string_view key = take_entry(&rest).key;
    if (key.substr(0, prefix.size()) != prefix) {
      break;
    }
    forms->push_back(key.substr(prefix.size()));
  }
}

bool Segment::hides(guint64 id) const { return !find(section::HIDDEN, hidden_key(id)).is_empty(); }

void Segment::read_hidden(std::vector<guint64>* ids) const {
  for (std::string_view rest = entries(section::HIDDEN); !rest.empty();) {
    ids->push_back(hidden_id(take_entry(&rest).key));
  }
}

// ---- walking ----

SegmentKeys::SegmentKeys(const Segment& segment, int section, std::string_view from)
    : rest_(segment.lower_bound(section, from)), last_id_(segment.last_id()) {}

bool SegmentKeys::next() {
  const std::string_view before = key_;
  while (!rest_.empty()) {
    present_ = rest_;
    key_ = take_entry(&rest_).key;
    if (!started_ || key_ != before) {
      started_ = true;
      return true;
    }
  }
  return false;
}

}  // namespace ostren::fenra::store
