#include "store/layout/stored_key.h"

#include <cstring>
#include <memory>

namespace ostren::fenra::store {

StoredKey::StoredKey(std::string_view string) : bytes_(string) {
  if (string.size() <= MOST_STORED_BYTES) {
    return;
  }
  const std::unique_ptr<gchar, void (*)(gpointer)> digest(
      g_compute_checksum_for_data(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(string.data()),
                                  string.size()),
      g_free);
  memcpy(short_one_, string.data(), STORED_BEGINNING_BYTES);
  short_one_[STORED_BEGINNING_BYTES] = '\xff';
  memcpy(short_one_ + STORED_BEGINNING_BYTES + 1, digest.get(), DIGEST_BYTES);
  bytes_ = {short_one_, sizeof short_one_};
}

}  // namespace ostren::fenra::store
