// Numbers for the keys of a database, in ascending order of which the keys lie side by side
// in it.
#ifndef FENRA_STORE_LAYOUT_KEY_ORDER_H
#define FENRA_STORE_LAYOUT_KEY_ORDER_H

#include <glib.h>

#include <string_view>

namespace ostren::fenra::store {

// The hash function of Berkeley DB's hash databases (Fowler, Noll and Vo's, without an
// offset basis). What is written depends on it for its order only, see bucket_order().
inline guint32 word_hash(std::string_view word) {
  guint32 hash = 0;
  for (const char byte : word) {
    hash = (hash * 16777619U) ^ static_cast<guint8>(byte);
  }
  return hash;
}

// A hash with its bits in reverse. A bucket's number is the low bits of the hash, as many
// as the table's size asks for; in ascending order of this the keys of one bucket are
// neighbours, whatever that size.
inline guint32 bucket_order(guint32 hash) {
  hash = (hash >> 16) | (hash << 16);
  hash = ((hash & 0xff00ff00U) >> 8) | ((hash & 0x00ff00ffU) << 8);
  hash = ((hash & 0xf0f0f0f0U) >> 4) | ((hash & 0x0f0f0f0fU) << 4);
  hash = ((hash & 0xccccccccU) >> 2) | ((hash & 0x33333333U) << 2);
  return ((hash & 0xaaaaaaaaU) >> 1) | ((hash & 0x55555555U) << 1);
}

// For B-trees: the first bytes of a word as a number of the same order; shorter ones are
// filled up with zeros.
inline guint64 prefix_of(std::string_view word) {
  guint64 prefix = 0;
  word.copy(reinterpret_cast<char*>(&prefix), sizeof prefix);
  return GUINT64_FROM_BE(prefix);
}

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_LAYOUT_KEY_ORDER_H
