#include "articles/pairs.h"

#include "articles/failure.h"
#include "store/layout/stored_key.h"

namespace ostren::fenra::articles {
namespace {

using ostren::fenra::store::StoredKey;

DBT item(std::string_view bytes) {
  DBT result = {};
  result.data = const_cast<char*>(bytes.data());
  result.size = static_cast<u_int32_t>(bytes.size());
  return result;
}

}  // namespace

bool has_pair(DB* database, std::string_view key, std::string_view data) {
  const StoredKey stored_key(key);
  const StoredKey stored_data(data);
  DBT key_item = item(stored_key.bytes());
  DBT data_item = item(stored_data.bytes());
  const int status = database->get(database, nullptr, &key_item, &data_item, DB_GET_BOTH);
  if (status != 0 && status != DB_NOTFOUND) {
    throw Failure("cannot read the store: " + status_text(status), status);
  }
  return status == 0;
}

bool has_posting(DB* database, std::string_view key, uint64_t id) {
  return has_pair(database, key, {reinterpret_cast<const char*>(&id), sizeof(id)});
}

}  // namespace ostren::fenra::articles
