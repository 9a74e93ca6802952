#include "store/writing/segment_merger.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <utility>
#include <vector>

#include "base/failed.h"
#include "store/sorted/segment_merge.h"

namespace ostren::fenra::store {
namespace {

// How often a segment can be divided by MERGED_SEGMENTS until it is smaller than the least ones.
int level_of(const std::string& directory, const SegmentRange& segment) {
  constexpr guint64 LEAST_BYTES = guint64{16} << 10;
  struct stat status = {};
  int level = 0;
  if (stat((directory + "/" + segment.name()).c_str(), &status) == 0) {
    for (auto bytes = static_cast<guint64>(status.st_size); bytes >= LEAST_BYTES * MERGED_SEGMENTS;
         bytes /= MERGED_SEGMENTS) {
      ++level;
    }
  }
  return level;
}

// The signals of the process are for the host's threads.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace

// A small segment in front of a larger one counts as one of those: it is merged with them.
SegmentRanges choose_merge(const std::string& directory, const SegmentRanges& segments) {
  int level = -1;
  size_t end = segments.size();
  for (size_t i = segments.size(); i > 0; --i) {
    const int own = level_of(directory, segments[i - 1]);
    if (own > level) {
      if (end - i >= MERGED_SEGMENTS) {
        return {segments.begin() + static_cast<std::ptrdiff_t>(i),
                segments.begin() + static_cast<std::ptrdiff_t>(end)};
      }
      level = own;
      end = i;
    }
  }
  return end < MERGED_SEGMENTS
             ? SegmentRanges()
             : SegmentRanges(segments.begin(), segments.begin() + static_cast<std::ptrdiff_t>(end));
}

SegmentMerger::~SegmentMerger() {
  give_up();
  if (work_ != nullptr) {
    take();
  }
}

void* SegmentMerger::run(void* argument) {
  auto* const work = static_cast<Work*>(argument);
  Outcome& outcome = work->outcome;
  outcome.code = status_of([&] {
    std::vector<std::string> names;
    for (const SegmentRange& part : outcome.parts) {
      names.push_back(part.name());
    }
    merge_segments(work->directory, names, outcome.merged.name(),
                   [work] { return work->gives_up.load(); });
  });
  work->done = true;
  return nullptr;
}

void SegmentMerger::start(SegmentRanges parts) {
  work_ = std::make_unique<Work>();
  work_->outcome.merged = {parts.front().first_id, parts.back().last_id};
  work_->outcome.parts = std::move(parts);
  work_->directory = directory_;
  const BlockedSignals blocked;
  if (pthread_create(&work_->thread, nullptr, run, work_.get()) == 0) {
    work_->process = getpid();
  } else {
    run(work_.get());
  }
}

void SegmentMerger::give_up() {
  if (work_ != nullptr) {
    work_->gives_up = true;
  }
}

SegmentMerger::Outcome SegmentMerger::take() {
  if (work_->process == getpid()) {
    pthread_join(work_->thread, nullptr);
  } else if (work_->process != 0) {
    work_->outcome.code = ECANCELED;  // the thread is the parent's
  }
  Outcome outcome = std::move(work_->outcome);
  work_.reset();
  return outcome;
}

}  // namespace ostren::fenra::store
