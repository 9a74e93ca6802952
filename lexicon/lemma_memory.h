// The lemmas of forms that were asked for lately. Some ten thousand forms make up nearly all
// of a text, and a search in the transducer takes many times as long as finding its result
// here.
#ifndef FENRA_LEXICON_LEMMA_MEMORY_H
#define FENRA_LEXICON_LEMMA_MEMORY_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "lexicon/articledb_lemmatizer.h"

namespace Pelko {

// A cache of 4 MiB, of which only what is used takes memory. A form has one set where it can
// be, together with another form, and takes the place there that was not asked for last.
// Threads may share it: a set is one thread's at a time, and another one that comes to it
// then goes on as if the form were not known.
class LemmaMemory {
 public:
  // Whose lemmas they are.
  enum Rules : uint8_t { PLAIN, WEB };

  // Knows nothing, for ever when there is no memory.
  LemmaMemory();

  // The lemma of the form, as a list of one that the caller owns; null when it is not
  // known.
  GList* find(Rules rules, std::string_view form);

  // Neither string has a zero byte. The empty form and long ones are never known.
  void keep(Rules rules, std::string_view form, std::string_view lemma);

 private:
  // Bytes of a form and of what its lemma does not begin with as the form does. Few words of
  // a text need more.
  static constexpr size_t ROOM = 27;

  struct Entry {
    Rules rules;
    uint8_t form_length;    // 0: nobody's yet
    uint8_t shared_length;  // what form and lemma begin with
    uint8_t rest_length;
    char bytes[ROOM];  // the form, and the rest of the lemma behind it

    bool is_of(Rules of, std::string_view form) const {
      return rules == of && std::string_view(bytes, form_length) == form;
    }
  };

  // A cache line.
  struct alignas(64) Set {
    std::atomic<bool> taken;
    Entry entries[2];  // the one that was asked for last in front
  };
  static_assert(sizeof(Set) == 64);

  // Takes a set for as long as it lives, unless somebody has it.
  class Hold;

  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };

  static constexpr size_t SETS = 1 << 16;

  Set& set_of(Rules rules, std::string_view form);

  std::unique_ptr<void, Free> memory_;
  Set* sets_ = nullptr;  // in memory_
};

}  // namespace Pelko

#endif  // FENRA_LEXICON_LEMMA_MEMORY_H
