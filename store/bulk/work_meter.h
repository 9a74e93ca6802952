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
  static constexpr guint32 MANY_CALLS = 1024;

  // Of so many calls of advance() one reports.
  WorkMeter(ArticledbBulkProgressFunc progress, void* state, guint32 calls_per_report = MANY_CALLS)
      : progress_(progress), state_(state), calls_per_report_(calls_per_report) {}

  void set_total(guint64 total) { total_ = total; }

  // Throws Failed when the function wants an end.
  void advance(guint64 steps) {
    done_ += steps;
    if (progress_ != nullptr && ++calls_ % calls_per_report_ == 0) {
      report();
    }
  }

 private:
  void report() const {
    if (progress_(state_, std::min(done_, total_), total_) != 0) {
      throw Failed{ECANCELED};
    }
  }

  const ArticledbBulkProgressFunc progress_;
  void* const state_;
  const guint32 calls_per_report_;
  guint64 total_ = 0;
  guint64 done_ = 0;
  guint32 calls_ = 0;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_WORK_METER_H
