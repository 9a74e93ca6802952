// From sorted runs to the databases of a store.
#ifndef FENRA_STORE_STORE_FILLING_H
#define FENRA_STORE_STORE_FILLING_H

#include <glib.h>

#include "store/articledb_bulk.h"
#include "store/run_file.h"
#include "store/store_writer.h"

namespace ostren {
namespace fenra {
namespace store {

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

  void report() const;

  const ArticledbBulkProgressFunc progress_;
  void* const state_;
  guint64 total_ = 0;
  guint64 done_ = 0;
  guint32 calls_ = 0;
};

// Writes the eight databases of the runs' sections. Only the last article of a URL gets
// its URL record and its text. Throws Failed and std::bad_alloc.
void fill_store(const Runs& runs, guint64 last_id, StoreWriter* writer, WorkMeter* meter);

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_STORE_FILLING_H
