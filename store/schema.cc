#undef NDEBUG
#include "store/schema.h"

#include <cassert>
#include <cstring>

namespace ostren {
namespace fenra {
namespace store {
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
  return ret;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
