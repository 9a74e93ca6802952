#undef NDEBUG
#include "store/layout/schema.h"

#include <cassert>
#include <cstring>

namespace ostren::fenra::store {
namespace {

// The duplicate order of ids: ascending numbers.
int guint64_dbt_cmp(DB*, const DBT* dbta, const DBT* dbtb) {
  assert(dbta->size == sizeof(guint64));
  assert(dbtb->size == sizeof(guint64));
  guint64 a;
  guint64 b;
  memcpy(&a, dbta->data, sizeof a);
  memcpy(&b, dbtb->data, sizeof b);
  return a < b ? -1 : a > b ? 1 : 0;
}

// On disk: the order of the keys on a page of a hash database, byte by byte, but a longer key
// before one that it begins with. It is Berkeley DB's own, for keys that lie on the page; one
// that lies on pages of its own, as in files of earlier versions, is there compared by its
// beginning only, and hides the keys that it begins with.
int hash_key_dbt_cmp(DB*, const DBT* dbta, const DBT* dbtb) {
  const guint32 common = MIN(dbta->size, dbtb->size);
  const int order = common == 0 ? 0 : memcmp(dbta->data, dbtb->data, common);
  return order != 0 ? order : dbta->size > dbtb->size ? -1 : dbta->size < dbtb->size ? 1 : 0;
}

}  // namespace

int schema_configure(DB* handle, const DatabaseSpec& spec, int* step) {
  ++*step;
  int ret = handle->set_pagesize(handle, PAGE_BYTES);
  if (ret == 0 && spec.duplicates != Duplicates::NONE) {
    ++*step;
    ret = handle->set_flags(handle, DB_DUPSORT);
  }
  if (ret == 0 && spec.duplicates == Duplicates::NUMERIC) {
    ++*step;
    ret = handle->set_dup_compare(handle, guint64_dbt_cmp);
  }
  if (ret == 0 && spec.type == DB_HASH) {
    ret = handle->set_h_compare(handle, hash_key_dbt_cmp);
  }
  return ret;
}

}  // namespace ostren::fenra::store
