#include "store/reading/record_cache.h"

#include <cstring>

namespace ostren::fenra::store {

void RecordCache::add(guint64 id, guint64 changes, const Record& record) {
  if (record.length > MAX_LENGTH) {
    return;
  }
  guint8* const bytes = kept_.begin(changes, record.length);
  if (bytes == nullptr) {
    return;
  }
  if (record.length != 0) {
    memcpy(bytes, record.bytes, record.length);
  }
  constexpr guint64 POSITIONS = guint64{1} << 48;
  kept_.finish(id, {id, kept_.position() % POSITIONS, static_cast<guint16>(record.length)},
               record.length);
}

}  // namespace ostren::fenra::store
