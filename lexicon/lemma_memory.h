// The lemmas of forms that were asked for lately. A few forms make up most of a text, and a
// search in the transducer takes ten times as long as finding its result here.
#ifndef FENRA_LEXICON_LEMMA_MEMORY_H
#define FENRA_LEXICON_LEMMA_MEMORY_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "lexicon/articledb_lemmatizer.h"

namespace Pelko {

// A direct-mapped cache of 512 KiB: a form has one place where it can be, and takes it from
// the form that was there before. Threads may share it: a place is one thread's at a time,
// and another one that comes to it then goes on as if the form were not known.
class LemmaMemory {
 public:
  // Whose lemmas they are.
  enum Rules : uint8_t { PLAIN, WEB };

  // The lemma of the form, as a list of one that the caller owns; null when it is not
  // known.
  GList* find(Rules rules, std::string_view form);

  // Neither string has a zero byte. The empty form and long ones are never known.
  void keep(Rules rules, std::string_view form, std::string_view lemma);

 private:
  // Bytes of a form and its lemma together. Few words of a text need more.
  static constexpr size_t ROOM = 60;

  // A cache line.
  struct alignas(64) Place {
    std::atomic<bool> taken{false};
    Rules rules = PLAIN;
    uint8_t form_length = 0;  // 0: nobody's yet
    uint8_t lemma_length = 0;
    char bytes[ROOM];  // the form, and its lemma behind it

    std::string_view form() const { return {bytes, form_length}; }
    std::string_view lemma() const { return {bytes + form_length, lemma_length}; }
  };
  static_assert(sizeof(Place) == 64);

  // Takes a place for as long as it lives, unless somebody has it.
  class Hold;

  static constexpr size_t PLACES = 1 << 13;

  Place& place_of(Rules rules, std::string_view form);

  std::array<Place, PLACES> places_;
};

}  // namespace Pelko

#endif  // FENRA_LEXICON_LEMMA_MEMORY_H
