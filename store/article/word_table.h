// Numbers for distinct byte strings.
#ifndef FENRA_STORE_ARTICLE_WORD_TABLE_H
#define FENRA_STORE_ARTICLE_WORD_TABLE_H

#include <glib.h>

#include <string_view>

#include "base/growing_array.h"
#include "store/layout/key_order.h"

namespace ostren::fenra::store {

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

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_WORD_TABLE_H
