#include "store/article/word_table.h"

namespace ostren::fenra::store {

guint32 WordTable::number(std::string_view word, guint32 hash) {
  if (words_.size() * 2 >= slots_.size()) {
    grow();
  }
  const size_t mask = slots_.size() - 1;
  size_t slot = slot_of(hash);
  for (; slots_[slot] != 0; slot = (slot + 1) & mask) {
    const guint32 found = slots_[slot] - 1;
    if (words_[found].hash == hash && (*this)[found] == word) {
      return found;
    }
  }
  const guint32 added = size();
  words_.push_back({bytes_.size(), static_cast<guint32>(word.size()), hash});
  bytes_.append(word.data(), word.size());
  slots_[slot] = added + 1;
  return added;
}

void WordTable::grow() {
  constexpr size_t LEAST_SLOTS = 256;
  const size_t count = slots_.size() == 0 ? LEAST_SLOTS : slots_.size() * 2;
  slots_.assign_zeros(count);
  shift_ = 64 - __builtin_ctzll(count);
  for (guint32 i = 0; i < size(); ++i) {
    size_t slot = slot_of(words_[i].hash);
    while (slots_[slot] != 0) {
      slot = (slot + 1) & (count - 1);
    }
    slots_[slot] = i + 1;
  }
}

void WordTable::clear() { *this = WordTable(); }

}  // namespace ostren::fenra::store
