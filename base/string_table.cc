#include "base/string_table.h"

#include <sys/random.h>

#include <cstring>
#include <stdexcept>

namespace ostren::fenra {
namespace {

// Both halves of the product depend on all bits of both factors.
guint64 folded_product(guint64 a, guint64 b) {
  const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
  return static_cast<guint64>(product) ^ static_cast<guint64>(product >> 64);
}

struct Key {
  guint64 seed;
  guint64 factor;
};

// Without the system's random numbers addresses have to do, which differ as well.
Key make_key() {
  Key key = {};
  if (getrandom(&key, sizeof key, GRND_NONBLOCK) != sizeof key) {
    key.seed = folded_product(reinterpret_cast<guint64>(&key), 0x9e3779b97f4a7c15U);
    key.factor = folded_product(reinterpret_cast<guint64>(&make_key), 0xd1342543de82ef95U);
  }
  key.factor |= 1;
  return key;
}

const Key key = make_key();

}  // namespace

guint64 keyed_hash(guint64 number) { return folded_product(number ^ key.seed, key.factor); }

guint32 keyed_hash(std::string_view bytes) {
  guint64 hash = key.seed ^ bytes.size();
  for (; bytes.size() > sizeof hash; bytes.remove_prefix(sizeof hash)) {
    guint64 block;
    memcpy(&block, bytes.data(), sizeof block);
    hash = folded_product(hash ^ block, key.factor);
  }
  guint64 rest = 0;
  if (!bytes.empty()) {
    memcpy(&rest, bytes.data(), bytes.size());
  }
  hash = folded_product(hash ^ rest, key.factor);
  return static_cast<guint32>(hash ^ hash >> 32);
}

guint32* StringTable::slot_of(std::string_view string, guint32 hash) {
  const size_t mask = slots_.size() - 1;
  for (size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    if (slots_[slot] == 0) {
      return &slots_[slot];
    }
    const guint32 found = slots_[slot] - 1;
    if (entries_[found].hash == hash && (*this)[found] == string) {
      return &slots_[slot];
    }
  }
}

guint32 StringTable::number(std::string_view string, guint32 hash, bool* is_new) {
  if (entries_.size() * 2 >= slots_.size()) {
    grow();
  }
  guint32* const slot = slot_of(string, hash);
  const bool added = *slot == 0;
  if (added) {
    if (string.size() > G_MAXUINT32) {
      throw std::length_error("string");
    }
    const size_t start = bytes_.size();
    bytes_.append(string.data(), string.size());
    entries_.push_back({start, static_cast<guint32>(string.size()), hash});
    *slot = size();
  }
  if (is_new != nullptr) {
    *is_new = added;
  }
  return *slot - 1;
}

guint32 StringTable::find(std::string_view string) const {
  if (slots_.size() == 0) {
    return NONE;
  }
  const guint32* const slot = const_cast<StringTable*>(this)->slot_of(string, keyed_hash(string));
  return *slot == 0 ? NONE : *slot - 1;
}

void StringTable::grow() {
  constexpr size_t LEAST_SLOTS = 256;
  const size_t count = slots_.size() == 0 ? LEAST_SLOTS : slots_.size() * 2;
  GrowingArray<guint32> slots;
  slots.assign_zeros(count);
  for (guint32 i = 0; i < size(); ++i) {
    size_t slot = entries_[i].hash & (count - 1);
    while (slots[slot] != 0) {
      slot = (slot + 1) & (count - 1);
    }
    slots[slot] = i + 1;
  }
  slots_ = std::move(slots);
}

}  // namespace ostren::fenra
