#include "store/sorted/segment_writer.h"

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "base/failed.h"
#include "store/layout/key_order.h"
#include "store/sorted/entry.h"

namespace ostren::fenra::store {
namespace {

constexpr size_t SPILL_BYTES = size_t{1} << 20;

// Makes the file, and completes its name.
Descriptor make_draft(std::string* name) {
  *name += "XXXXXX";
  return Descriptor(require_call(mkostemp(name->data(), O_CLOEXEC)));
}

guint32 continue_checksum(guint32 checksum, std::string_view bytes) {
  return static_cast<guint32>(
      crc32_z(checksum, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

}  // namespace

SegmentWriter::SegmentWriter(const std::string& directory, const std::string& name)
    : directory_(directory),
      path_(directory + "/" + name),
      draft_(path_ + SEGMENT_DRAFT_INFIX),
      file_(make_draft(&draft_)) {
  adopt_mode_of_databases(directory, file_.fd());
}

SegmentWriter::~SegmentWriter() {
  if (!draft_.empty()) {
    unlink(draft_.c_str());
  }
}

void SegmentWriter::write(std::string_view key, std::string_view payload) {
  const guint64 offset = file_.size() - present().entries.begin;
  const bool is_first = offset == 0;
  if (is_first || (entries_ >= ENTRIES_A_PLACE && key != key_)) {
    note_place(key, offset);
  }
  ++entries_;
  // The key before matters only where the next may be noted.
  if (entries_ >= ENTRIES_A_PLACE) {
    key_ = key;
  }
  append_entry(key, payload, file_.buffer());
  if (file_.is_full()) {
    flush();
  }
}

void SegmentWriter::flush() {
  present().entries_checksum = continue_checksum(present().entries_checksum, *file_.buffer());
  file_.flush();
}

void SegmentWriter::note_place(std::string_view key, guint64 offset) {
  const KeyPlace place = {prefix_of(key), offset};
  places_.append(reinterpret_cast<const char*>(&place), sizeof place);
  if (places_.size() >= SPILL_BYTES) {
    if (!spill_) {
      spill_.emplace(make_nameless_file(directory_));
    }
    spill_->buffer()->swap(places_);
    spill_->flush();
  }
  entries_ = 0;
}

// The places of a section that is longer than memory come back from a file.
void SegmentWriter::append_index() {
  const auto append = [this](std::string_view places) {
    present().index_checksum = continue_checksum(present().index_checksum, places);
    file_.buffer()->append(places);
    file_.flush();
  };
  if (spill_) {
    std::string bytes(SPILL_BYTES, '\0');
    for (guint64 offset = 0; offset < spill_->size(); offset += bytes.size()) {
      bytes.resize(std::min<guint64>(SPILL_BYTES, spill_->size() - offset));
      require(read_whole(spill_->fd(), bytes.data(), bytes.size(), offset) != bytes.size() ? EIO
                                                                                           : 0);
      append(bytes);
    }
    spill_.reset();
  }
  append(places_);
  places_.clear();
}

void SegmentWriter::end_section() {
  flush();
  present().entries.end = present().index.begin = file_.size();
  append_index();
  present().index.end = file_.size();
  entries_ = 0;
  ++section_;
  if (section_ < section::COUNT) {
    present().entries.begin = file_.size();
  }
}

void SegmentWriter::finish(guint64 first_id, guint64 last_id) {
  footer_.first_id = first_id;
  footer_.last_id = last_id;
  seal(&footer_);
  file_.buffer()->append(reinterpret_cast<const char*>(&footer_), sizeof footer_);
  file_.flush();
  sync_file(file_.fd());
  require_call(rename(draft_.c_str(), path_.c_str()));
  draft_ = path_;  // to be removed unless the name is on the disk too
  sync_path(directory_);
  draft_.clear();
}

void write_segment(const std::string& directory, const std::string& name, ArticleEntries* entries) {
  const guint64 first_id = entries->first_id();
  const guint64 last_id = entries->last_id();
  SegmentWriter writer(directory, name);
  entries->write(&writer);
  writer.finish(first_id, last_id);
}

}  // namespace ostren::fenra::store
