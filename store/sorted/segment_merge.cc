#include "store/sorted/segment_merge.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/failed.h"
#include "store/sorted/merged_section.h"
#include "store/sorted/sections.h"
#include "store/sorted/segment_file.h"
#include "store/sorted/segment_writer.h"

namespace ostren::fenra::store {
namespace {

class SegmentMerge {
 public:
  SegmentMerge(const std::string& directory, const std::vector<std::string>& parts,
               const std::function<bool()>& gives_up)
      : gives_up_(gives_up) {
    for (const std::string& part : parts) {
      auto file = std::make_unique<SegmentFile>(open_to_read(directory + "/" + part));
      require(files_.empty() || file->first_id() > last_id_ ? 0 : EINVAL);
      first_id_ = files_.empty() ? file->first_id() : first_id_;
      last_id_ = file->last_id();
      files_.push_back(std::move(file));
    }
    require(files_.empty() ? EINVAL : 0);
  }

  void write(SegmentWriter* writer) {
    read_hidden();
    for (int section = 0; section < section::HIDDEN; ++section) {
      merge_section(
          files_, section, [this](std::string_view id_bytes) { return is_live(id_bytes); },
          [this] { step(); }, writer);
      writer->end_section();
    }
    for (const guint64 id : hidden_) {
      if (id < first_id_) {
        writer->write(hidden_key(id), {});
      }
    }
    writer->end_section();
    writer->finish(first_id_, last_id_);
  }

 private:
  void read_hidden() {
    for (MergedSection entries(files_, section::HIDDEN); entries.next(); step()) {
      const guint64 id = hidden_id(entries.key());
      if (hidden_.empty() || id != hidden_.back()) {
        require(!hidden_.empty() && id < hidden_.back() ? EIO : 0);
        hidden_.push_back(id);
      }
    }
  }

  bool is_live(std::string_view id_bytes) const {
    guint64 id = 0;
    require(id_bytes.size() != sizeof id ? EIO : 0);
    memcpy(&id, id_bytes.data(), sizeof id);
    return !std::binary_search(hidden_.begin(), hidden_.end(), id);
  }

  void step() {
    constexpr guint32 STEPS_A_QUESTION = 1024;
    if (++steps_ % STEPS_A_QUESTION == 0) {
      require(gives_up_() ? ECANCELED : 0);
    }
  }

  const std::function<bool()>& gives_up_;
  SortedFiles files_;
  guint64 first_id_ = 0;
  guint64 last_id_ = 0;
  std::vector<guint64> hidden_;  // ascending
  guint32 steps_ = 0;
};

}  // namespace

void merge_segments(const std::string& directory, const std::vector<std::string>& parts,
                    const std::string& name, const std::function<bool()>& gives_up) {
  SegmentMerge merge(directory, parts, gives_up);
  SegmentWriter writer(directory, name);
  merge.write(&writer);
}

}  // namespace ostren::fenra::store
