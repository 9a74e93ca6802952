// Merges segments beside the work of a handle.
#ifndef FENRA_STORE_WRITING_SEGMENT_MERGER_H
#define FENRA_STORE_WRITING_SEGMENT_MERGER_H

#include <glib.h>
#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "store/waiting/segment_list.h"

namespace ostren::fenra::store {

// Which segments are worth being merged, all of them neighbours; empty for none. So many of about
// the same size make one of the next, as long as there are others: so an article is written again
// a number of times that is the logarithm of their number, and of each size there are few.
constexpr size_t MERGED_SEGMENTS = 8;
SegmentRanges choose_merge(const std::string& directory, const SegmentRanges& segments);

// Has one merge at a time done, in a thread of its own that touches nothing but the files: neither
// the gate nor Berkeley DB. Without a thread the merge is done by the caller. In the child of a
// fork there is no thread, and nothing waits for it.
class SegmentMerger {
 public:
  struct Outcome {
    SegmentRanges parts;
    SegmentRange merged = {};  // there is such a file when the code is 0; nobody knows of it yet
    int code = 0;
  };

  explicit SegmentMerger(std::string directory) : directory_(std::move(directory)) {}

  // Gives up what is being merged.
  ~SegmentMerger();
  SegmentMerger(const SegmentMerger&) = delete;
  SegmentMerger& operator=(const SegmentMerger&) = delete;

  // Neither a merge under way nor an outcome that has not been taken.
  bool is_idle() const { return work_ == nullptr; }
  bool is_done() const { return work_ != nullptr && work_->done; }

  // When it is idle. Throws std::bad_alloc.
  void start(SegmentRanges parts);

  // Unless it is idle; waits for the end of the merge, which comes soon after give_up(), with
  // ECANCELED.
  Outcome take();
  void give_up();

 private:
  struct Work {
    std::string directory;
    Outcome outcome;
    std::atomic<bool> done{false};
    std::atomic<bool> gives_up{false};
    pthread_t thread = {};
    pid_t process = 0;  // that has the thread; 0: nobody has one
  };

  static void* run(void* work);

  const std::string directory_;
  std::unique_ptr<Work> work_;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_WRITING_SEGMENT_MERGER_H
