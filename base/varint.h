// Numbers in as few bytes as they need: 7 bits a byte, the low ones first, all bytes but the
// last one with the high bit set.
#ifndef FENRA_BASE_VARINT_H
#define FENRA_BASE_VARINT_H

#include <glib.h>

#include <string>
#include <string_view>

#include "base/failed.h"

namespace ostren::fenra {

constexpr size_t MOST_VARINT_BYTES = 10;

inline void append_varint(guint64 number, std::string* bytes) {
  while (number >= 0x80) {
    bytes->push_back(static_cast<char>(number | 0x80));
    number >>= 7;
  }
  bytes->push_back(static_cast<char>(number));
}

// Takes a number off the front of the bytes. False, and nothing taken, when they end within
// it.
inline bool take_varint(std::string_view* bytes, guint64* number) {
  // Most numbers take one byte.
  if (!bytes->empty() && (static_cast<guint8>(bytes->front()) & 0x80U) == 0) {
    *number = static_cast<guint8>(bytes->front());
    bytes->remove_prefix(1);
    return true;
  }
  guint64 value = 0;
  for (size_t i = 0; i < bytes->size() && i < MOST_VARINT_BYTES; ++i) {
    const auto byte = static_cast<guint8>((*bytes)[i]);
    value |= guint64{byte & 0x7fU} << (7 * i);
    if ((byte & 0x80U) == 0) {
      bytes->remove_prefix(i + 1);
      *number = value;
      return true;
    }
  }
  return false;
}

// Numbers one after the other.
class VarintReader {
 public:
  explicit VarintReader(std::string_view bytes) : bytes_(bytes) {}

  bool at_end() const { return bytes_.empty(); }

  // Throws Failed where there is no number.
  guint64 next() {
    guint64 number = 0;
    require(take_varint(&bytes_, &number) ? 0 : EIO);
    return number;
  }

 private:
  std::string_view bytes_;
};

}  // namespace ostren::fenra

#endif  // FENRA_BASE_VARINT_H
