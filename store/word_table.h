// Numbers for distinct byte strings.
#ifndef FENRA_STORE_WORD_TABLE_H
#define FENRA_STORE_WORD_TABLE_H

#include <glib.h>

#include <string_view>

#include "store/growing_array.h"

namespace ostren {
namespace fenra {
namespace store {

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

// Strings numbered from 0 in the order of their first appearance.
class WordTable {
 public:
  guint32 number(std::string_view word) { return number(word, word_hash(word)); }
  // `hash` is the word's word_hash.
  guint32 number(std::string_view word, guint32 hash);

  // Valid until the next word is taken in.
  std::string_view operator[](guint32 number) const {
    const Word& word = words_[number];
    return {bytes_.begin() + word.start, word.length};
  }
  guint32 hash(guint32 number) const { return words_[number].hash; }

  guint32 size() const { return static_cast<guint32>(words_.size()); }

  // Memory in use.
  size_t bytes() const {
    return bytes_.size() + words_.size() * sizeof(Word) + slots_.size() * sizeof(guint32);
  }

  void clear();

 private:
  struct Word {
    size_t start;  // in bytes_
    guint32 length;
    guint32 hash;
  };

  size_t slot_of(guint32 hash) const {
    // The hash of words that differ in their last byte differs in its low bits only.
    return (hash * guint64{0x9e3779b97f4a7c15U}) >> shift_;
  }
  void grow();

  GrowingArray<char> bytes_;
  GrowingArray<Word> words_;
  // Open addressing: a word's number + 1, or 0. Their count is a power of two.
  GrowingArray<guint32> slots_;
  int shift_ = 0;  // 64 less the number's bits
};

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_WORD_TABLE_H
