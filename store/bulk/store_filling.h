// From sorted runs to the databases of a store.
#ifndef FENRA_STORE_BULK_STORE_FILLING_H
#define FENRA_STORE_BULK_STORE_FILLING_H

#include <glib.h>

#include <string_view>

#include "store/bulk/store_writer.h"
#include "store/bulk/work_meter.h"
#include "store/sorted/sorted_file.h"

namespace ostren::fenra::store {

// Writes the databases of the runs' sections, the id counter and the name of the rules, unless
// that is empty. Only the last article of a URL gets its URL record and its text. Throws Failed
// and std::bad_alloc.
void fill_store(const SortedFiles& runs, guint64 last_id, std::string_view rules,
                StoreWriter* writer, WorkMeter* meter);

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_BULK_STORE_FILLING_H
