#include "store/sorted/merged_section.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "base/failed.h"
#include "store/layout/key_order.h"
#include "store/sorted/entry.h"
#include "store/sorted/id_list.h"
#include "store/sorted/sections.h"

namespace ostren::fenra::store {
namespace {

constexpr size_t READ_BYTES = size_t{64} * 1024;

}  // namespace

// Reads one section of one file.
class MergedSection::Reader {
 public:
  Reader(const SortedFile& file, int section, size_t number)
      : file_(file),
        number_(number),
        checksum_(file.checksum_of(section)),
        offset_(file.begin_of(section)),
        end_(file.end_of(section)) {}

  bool next() {
    rest_.remove_prefix(taken_);
    taken_ = 0;
    if (rest_.empty() && offset_ == end_) {
      require(checksum_ && *checksum_ != found_ ? EIO : 0);
      return false;
    }
    for (size_t size = parse_entry(rest_, &entry_); size > rest_.size();
         size = parse_entry(rest_, &entry_)) {
      refill(size);
    }
    taken_ = static_cast<size_t>(entry_.payload.data() + entry_.payload.size() - rest_.data());
    prefix_ = prefix_of(entry_.key);
    return true;
  }

  const Entry& entry() const { return entry_; }

  bool precedes(const Reader& other) const {
    if (prefix_ != other.prefix_) {
      return prefix_ < other.prefix_;
    }
    const int order = entry_.key.compare(other.entry_.key);
    return order != 0 ? order < 0 : number_ < other.number_;
  }

 private:
  // Brings at least `wanted` bytes to the buffer.
  void refill(size_t wanted) {
    const size_t kept = rest_.size();
    require(wanted - kept > end_ - offset_ ? EIO : 0);
    if (kept != 0) {
      memmove(buffer_.data(), rest_.data(), kept);
    }
    buffer_.resize(std::max(READ_BYTES, wanted));
    const size_t room =
        static_cast<size_t>(std::min<guint64>(buffer_.size() - kept, end_ - offset_));
    require(file_.read(offset_, buffer_.data() + kept, room) != room ? EIO : 0);
    if (checksum_) {
      found_ = static_cast<guint32>(
          crc32_z(found_, reinterpret_cast<const Bytef*>(buffer_.data() + kept), room));
    }
    offset_ += room;
    rest_ = std::string_view(buffer_.data(), kept + room);
  }

  const SortedFile& file_;
  const size_t number_;
  const std::optional<guint32> checksum_;
  guint32 found_ = 0;  // of the bytes that have been read
  guint64 offset_;     // behind what is in the buffer
  const guint64 end_;
  std::vector<char> buffer_;
  std::string_view rest_;  // of the buffer, from the present entry on
  size_t taken_ = 0;       // bytes of the present entry
  Entry entry_;
  guint64 prefix_ = 0;  // of its key
};

MergedSection::MergedSection(const SortedFiles& files, int section) {
  for (size_t i = 0; i < files.size(); ++i) {
    auto reader = std::make_unique<Reader>(*files[i], section, i);
    if (reader->next()) {
      readers_.push_back(std::move(reader));
    }
  }
  std::sort(readers_.begin(), readers_.end(),
            [](const auto& a, const auto& b) { return a->precedes(*b); });
}

MergedSection::~MergedSection() = default;

void MergedSection::sift_down() {
  const size_t count = readers_.size();
  for (size_t at = 0;;) {
    size_t least = at;
    for (size_t child = 2 * at + 1; child < count && child <= 2 * at + 2; ++child) {
      if (readers_[child]->precedes(*readers_[least])) {
        least = child;
      }
    }
    if (least == at) {
      return;
    }
    std::swap(readers_[at], readers_[least]);
    at = least;
  }
}

bool MergedSection::next() {
  if (started_ && !readers_.empty()) {
    if (!readers_.front()->next()) {
      std::swap(readers_.front(), readers_.back());
      readers_.pop_back();
    }
    sift_down();
  }
  started_ = true;
  return !readers_.empty();
}

std::string_view MergedSection::key() const { return readers_.front()->entry().key; }
std::string_view MergedSection::payload() const { return readers_.front()->entry().payload; }

void merge_section(const SortedFiles& files, int section,
                   const std::function<bool(std::string_view id_bytes)>& wanted,
                   const std::function<void()>& step, SortedWriter* writer) {
  std::string key;
  bool first = true;
  IdListWriter lists(writer);
  for (MergedSection entries(files, section); entries.next(); step()) {
    if (has_records(section)) {
      if (wanted(database_key(section, entries.key()))) {
        writer->write(entries.key(), entries.payload());
      }
      continue;
    }
    if (first || entries.key() != key) {
      // What is left of the list before still needs its key.
      lists.end();
      key = entries.key();
      first = false;
      if (has_ids(section)) {
        lists.begin(key);
      } else {
        writer->write(key, {});
      }
    }
    if (has_ids(section)) {
      for (IdReader ids(entries.payload()); !ids.at_end();) {
        lists.add(ids.next());
      }
    }
  }
  lists.end();
}

}  // namespace ostren::fenra::store
