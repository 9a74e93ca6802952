// Looking for damage in a segment.
#include <zlib.h>

#include <cstring>

#include "base/failed.h"
#include "store/layout/key_order.h"
#include "store/sorted/entry.h"
#include "store/sorted/id_list.h"
#include "store/sorted/segment.h"

namespace ostren::fenra::store {
namespace {

constexpr const char* SECTION_NAMES[section::COUNT] = {"URLs",        "sources",  "dates",
                                                       "forms",       "trigrams", "lemmas",
                                                       "URL records", "texts",    "hidden ids"};

struct Damage {
  const char* what;
};

void require_that(bool holds, const char* otherwise) {
  if (!holds) {
    throw Damage{otherwise};
  }
}

bool has_checksum(std::string_view bytes, guint32 checksum) {
  return checksum == crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
}

class SectionCheck {
 public:
  SectionCheck(const Segment& segment, int section, std::string_view entries,
               std::string_view index)
      : segment_(segment), section_(section), entries_(entries), rest_(entries), index_(index) {}

  void run() {
    while (!rest_.empty()) {
      offset_ = entries_.size() - rest_.size();
      const Entry entry = take_entry(&rest_);
      check_key(entry.key);
      check_payload(entry.payload);
    }
    require_that(index_.empty(), "the index has places of no keys");
  }

  size_t offset() const { return offset_; }

 private:
  void check_key(std::string_view key) {
    const bool is_first = offset_ == 0;
    const bool comes_again = !is_first && key == key_;
    require_that(is_first || key >= key_, "the keys do not ascend");
    require_that(!comes_again || has_ids(section_), "a key comes twice");
    take_place(key, comes_again);
    key_ = key;
    if (comes_again) {
      return;
    }
    last_ = 0;
    if (section_ == section::LEMMAS) {
      require_that(lemma_prefix(LemmaKey(key).lemma) ==
                       key.substr(0, key.size() - LemmaKey(key).form.size()),
                   "a lemma does not stand where its hash asks for");
    } else if (has_bucket_order(section_)) {
      require_that(entry_key(section_, database_key(section_, key)) == key,
                   "a key does not stand where its hash asks for");
    }
  }

  // A place of the index that is that of the present entry.
  void take_place(std::string_view key, bool comes_again) {
    KeyPlace place = {};
    require_that(offset_ != 0 || !index_.empty(), "the index is empty");
    if (index_.empty()) {
      return;
    }
    memcpy(&place, index_.data(), sizeof place);
    require_that(place.offset >= offset_, "the index has a place of no entry");
    if (place.offset == offset_) {
      require_that(!comes_again && place.prefix == prefix_of(key),
                   "the index has a place of another key");
      index_.remove_prefix(sizeof place);
    }
  }

  void check_payload(std::string_view payload) {
    if (has_ids(section_)) {
      check_ids(payload);
    } else if (has_records(section_)) {
      const std::string_view bytes = database_key(section_, key_);
      guint64 id = 0;
      require_that(bytes.size() == sizeof id, "a record's key is no id");
      memcpy(&id, bytes.data(), sizeof id);
      require_that(is_covered(id), "a record is that of another segment's article");
    } else {
      require_that(payload.empty(), "an entry has a payload");
      require_that(section_ != section::HIDDEN || hidden_id(key_) < segment_.first_id(),
                   "a hidden id is not below the segment's");
    }
  }

  void check_ids(std::string_view payload) {
    const size_t count = count_ids(payload);
    require_that(count > 0 && count <= MOST_LISTED_IDS, "an entry has no ids, or too many");
    for (IdReader ids(payload); !ids.at_end();) {
      const guint64 id = ids.next();
      require_that(id > last_, "ids do not ascend");
      require_that(is_covered(id), "an id is that of another segment's article");
      last_ = id;
    }
  }

  bool is_covered(guint64 id) const {
    return id >= segment_.first_id() && id <= segment_.last_id();
  }

  const Segment& segment_;
  const int section_;
  const std::string_view entries_;
  std::string_view rest_;   // of the entries
  std::string_view index_;  // the places from the present entry on
  size_t offset_ = 0;       // of the present entry
  std::string_view key_;
  guint64 last_ = 0;  // id of the key
};

}  // namespace

std::string Segment::verify() const {
  for (int section = 0; section < section::COUNT; ++section) {
    const std::string name = SECTION_NAMES[section];
    const SegmentFooter::Section& sums = footer_.sections[section];
    if (!has_checksum(entries(section), sums.entries_checksum) ||
        !has_checksum(index(section), sums.index_checksum)) {
      return name + ": the checksum is not that of the bytes";
    }
    SectionCheck check(*this, section, entries(section), index(section));
    const std::string place = name + ", byte ";
    try {
      check.run();
    } catch (const Damage& damage) {
      return place + std::to_string(check.offset()) + ": " + damage.what;
    } catch (const Failed&) {
      return place + std::to_string(check.offset()) + ": the entry cannot be read";
    }
  }
  return "";
}

}  // namespace ostren::fenra::store
