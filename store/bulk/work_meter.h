// Reports of work that goes on in small steps.
#ifndef FENRA_STORE_BULK_WORK_METER_H
#define FENRA_STORE_BULK_WORK_METER_H

#include <glib.h>

#include <algorithm>
#include <cerrno>

#include "base/failed.h"
#include "store/articledb_bulk.h"

namespace ostren::fenra::store {

// Tells a progress function of work that goes on in small steps.
class WorkMeter {
 public:
  WorkMeter(ArticledbBulkProgressFunc progress, void* state) : progress_(progress), state_(state) {}

  void set_total(guint64 total) { total_ = total; }

  // Throws Failed when the function wants an end.
  void advance(guint64 steps) {
    done_ += steps;
    if (progress_ != nullptr && ++calls_ % CALLS_PER_REPORT == 0) {
      report();
    }
  }

 private:
  static constexpr guint32 CALLS_PER_REPORT = 1024;

  void report() const {
    if (progress_(state_, std::min(done_, total_), total_) != 0) {
      throw Failed{ECANCELED};
    }
  }

  const ArticledbBulkProgressFunc progress_;
  void* const state_;
  guint64 total_ = 0;
  guint64 done_ = 0;
  guint32 calls_ = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_WORK_METER_H
