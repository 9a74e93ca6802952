#include "store/reading/read_memory.h"

namespace ostren::fenra::store {

int ReadMemory::set_room(DB_ENV* env) {
  constexpr guint64 MOST_ROOM = guint64{1} << 31;
  guint32 gigabytes = 0;
  guint32 bytes = 0;
  int parts = 0;
  const int ret = env->get_cachesize(env, &gigabytes, &bytes, &parts);
  if (ret != 0) {
    return ret;
  }
  const guint64 share = MIN(((guint64{gigabytes} << 30) + bytes) / 4, MOST_ROOM);
  guint32 room = ReadCache::LEAST_ROOM;
  while (guint64{room} * 2 <= share) {
    room *= 2;
  }
  cache.set_room(room);
  return 0;
}

}  // namespace ostren::fenra::store
