#include "store/bulk/run_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/failed.h"
#include "base/varint.h"

namespace ostren::fenra::store {
namespace {

constexpr size_t WRITE_BYTES = size_t{256} * 1024;
constexpr size_t READ_BYTES = size_t{64} * 1024;

int make_nameless_file(const std::string& directory) {
  std::string name = directory + "/run.XXXXXX";
  const int fd = require_call(mkostemp(name.data(), O_CLOEXEC));
  if (unlink(name.c_str()) != 0) {
    const int code = errno;
    close(fd);
    throw Failed{code};
  }
  return fd;
}

}  // namespace

// ---- writing ----

RunFile::RunFile(const std::string& directory, int sections) : fd_(make_nameless_file(directory)) {
  ends_.reserve(static_cast<size_t>(sections));
}

RunFile::~RunFile() { close(fd_); }

void RunFile::write(std::string_view key, std::string_view payload) {
  append_varint(key.size(), &buffer_);
  append_varint(payload.size(), &buffer_);
  buffer_.append(key);
  buffer_.append(payload);
  if (buffer_.size() >= WRITE_BYTES) {
    flush();
  }
}

void RunFile::end_section() {
  flush();
  ends_.push_back(written_);
}

void RunFile::flush() {
  for (size_t done = 0; done < buffer_.size();) {
    const ssize_t count =
        pwrite(fd_, buffer_.data() + done, buffer_.size() - done, static_cast<off_t>(written_));
    if (count == -1 && errno == EINTR) {
      continue;
    }
    done += static_cast<size_t>(require_call(count));
    written_ += static_cast<guint64>(count);
  }
  buffer_.clear();
}

size_t RunFile::read(guint64 offset, char* bytes, size_t size) const {
  size_t done = 0;
  while (done < size) {
    const ssize_t count = pread(fd_, bytes + done, size - done, static_cast<off_t>(offset + done));
    if (count == 0) {
      break;
    }
    if (count == -1 && errno == EINTR) {
      continue;
    }
    done += static_cast<size_t>(require_call(count));
  }
  return done;
}

// ---- merging ----

// Reads one section of one run.
class MergedSection::Reader {
 public:
  Reader(const RunFile& run, int section, size_t number)
      : run_(run), number_(number), offset_(run.begin_of(section)), end_(run.end_of(section)) {}

  bool next() {
    rest_.remove_prefix(entry_);
    entry_ = 0;
    if (rest_.empty() && offset_ == end_) {
      return false;
    }
    while (!parse()) {
      if (offset_ == end_) {
        throw Failed{EIO};
      }
      refill();
    }
    return true;
  }

  size_t number() const { return number_; }
  std::string_view key() const { return key_; }
  std::string_view payload() const { return payload_; }

 private:
  // Takes the entry in front, if all of it is in the buffer.
  bool parse() {
    std::string_view rest = rest_;
    guint64 key_size = 0;
    guint64 payload_size = 0;
    if (!take_varint(&rest, &key_size) || !take_varint(&rest, &payload_size)) {
      return false;
    }
    if (key_size > rest.size() || payload_size > rest.size() - key_size) {
      wanted_ = rest_.size() - rest.size() + key_size + payload_size;
      return false;
    }
    key_ = rest.substr(0, key_size);
    payload_ = rest.substr(key_size, payload_size);
    entry_ = rest_.size() - rest.size() + key_size + payload_size;
    return true;
  }

  void refill() {
    const size_t kept = rest_.size();
    if (kept != 0) {
      memmove(buffer_.data(), rest_.data(), kept);
    }
    buffer_.resize(std::max(READ_BYTES, std::max(wanted_, kept + 1)));
    wanted_ = 0;
    const size_t room =
        static_cast<size_t>(std::min<guint64>(buffer_.size() - kept, end_ - offset_));
    if (run_.read(offset_, buffer_.data() + kept, room) != room) {
      throw Failed{EIO};
    }
    offset_ += room;
    rest_ = std::string_view(buffer_.data(), kept + room);
  }

  const RunFile& run_;
  const size_t number_;
  guint64 offset_;  // behind what is in the buffer
  const guint64 end_;
  std::vector<char> buffer_;
  std::string_view rest_;  // of the buffer, from the present entry on
  size_t entry_ = 0;       // bytes of the present entry
  size_t wanted_ = 0;      // bytes that the next entry takes, when known
  std::string_view key_;
  std::string_view payload_;
};

MergedSection::MergedSection(const Runs& runs, int section) {
  for (size_t i = 0; i < runs.size(); ++i) {
    auto reader = std::make_unique<Reader>(*runs[i], section, i);
    if (reader->next()) {
      readers_.push_back(std::move(reader));
    }
  }
  std::sort(readers_.begin(), readers_.end(),
            [this](const auto& a, const auto& b) { return precedes(a.get(), b.get()); });
}

MergedSection::~MergedSection() = default;

bool MergedSection::precedes(const Reader* a, const Reader* b) const {
  const int order = a->key().compare(b->key());
  return order != 0 ? order < 0 : a->number() < b->number();
}

void MergedSection::sift_down() {
  const size_t count = readers_.size();
  for (size_t at = 0;;) {
    size_t least = at;
    for (size_t child = 2 * at + 1; child < count && child <= 2 * at + 2; ++child) {
      if (precedes(readers_[child].get(), readers_[least].get())) {
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

std::string_view MergedSection::key() const { return readers_.front()->key(); }
std::string_view MergedSection::payload() const { return readers_.front()->payload(); }

}  // namespace ostren::fenra::store
