#include "lexicon/lemma_memory.h"

#include <functional>

namespace Pelko {

class LemmaMemory::Hold {
 public:
  explicit Hold(Place& place)
      : place_(place), held_(!place.taken.exchange(true, std::memory_order_acquire)) {}
  ~Hold() {
    if (held_) {
      place_.taken.store(false, std::memory_order_release);
    }
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

  bool held() const { return held_; }

 private:
  Place& place_;
  const bool held_;
};

GList* LemmaMemory::find(Rules rules, std::string_view form) {
  Place& place = place_of(rules, form);
  const Hold hold(place);
  if (!hold.held() || form.empty() || place.rules != rules || place.form() != form) {
    return nullptr;
  }
  const std::string_view lemma = place.lemma();
  return articledb_lemmatizer_identity(nullptr, lemma.data(), static_cast<int>(lemma.size()));
}

void LemmaMemory::keep(Rules rules, std::string_view form, std::string_view lemma) {
  if (form.size() > ROOM || lemma.size() > ROOM - form.size()) {
    return;
  }
  Place& place = place_of(rules, form);
  const Hold hold(place);
  if (hold.held()) {
    place.rules = rules;
    place.form_length = static_cast<uint8_t>(form.copy(place.bytes, form.size()));
    place.lemma_length = static_cast<uint8_t>(lemma.copy(place.bytes + form.size(), lemma.size()));
  }
}

LemmaMemory::Place& LemmaMemory::place_of(Rules rules, std::string_view form) {
  return places_[(std::hash<std::string_view>()(form) + rules) % PLACES];
}

}  // namespace Pelko
