#include "lexicon/lemma_memory.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "lexicon/forms.h"

namespace Pelko {

class LemmaMemory::Hold {
 public:
  explicit Hold(Set& set)
      : set_(set), held_(!set.taken.exchange(true, std::memory_order_acquire)) {}
  ~Hold() {
    if (held_) {
      set_.taken.store(false, std::memory_order_release);
    }
  }
  Hold(const Hold&) = delete;
  Hold& operator=(const Hold&) = delete;

  bool held() const { return held_; }

 private:
  Set& set_;
  const bool held_;
};

// Zeros are sets without forms. Those of a large block take no memory before they are used.
LemmaMemory::LemmaMemory() : memory_(std::calloc(SETS + 1, sizeof(Set))) {
  void* begin = memory_.get();
  size_t size = (SETS + 1) * sizeof(Set);
  if (begin != nullptr) {
    sets_ = static_cast<Set*>(std::align(alignof(Set), SETS * sizeof(Set), begin, size));
  }
}

GList* LemmaMemory::find(Rules rules, std::string_view form) {
  if (sets_ == nullptr || form.empty()) {
    return nullptr;
  }
  Entry found;
  {
    Set& set = set_of(rules, form);
    const Hold hold(set);
    if (!hold.held()) {
      return nullptr;
    }
    if (!set.entries[0].is_of(rules, form)) {
      if (!set.entries[1].is_of(rules, form)) {
        return nullptr;
      }
      std::swap(set.entries[0], set.entries[1]);
    }
    found = set.entries[0];
  }
  // The rest overwrites what of the form the lemma does not begin with.
  std::copy_n(found.bytes + found.form_length, found.rest_length,
              found.bytes + found.shared_length);
  return list_of({found.bytes, size_t{found.shared_length} + found.rest_length});
}

void LemmaMemory::keep(Rules rules, std::string_view form, std::string_view lemma) {
  const auto differing = std::mismatch(form.begin(), form.end(), lemma.begin(), lemma.end());
  const auto shared = static_cast<size_t>(differing.first - form.begin());
  const std::string_view rest = lemma.substr(shared);
  if (sets_ == nullptr || form.size() > ROOM || rest.size() > ROOM - form.size()) {
    return;
  }
  Set& set = set_of(rules, form);
  const Hold hold(set);
  if (hold.held()) {
    set.entries[1] = set.entries[0];
    Entry& entry = set.entries[0];
    entry.rules = rules;
    entry.form_length = static_cast<uint8_t>(form.copy(entry.bytes, form.size()));
    entry.shared_length = static_cast<uint8_t>(shared);
    entry.rest_length = static_cast<uint8_t>(rest.copy(entry.bytes + form.size(), rest.size()));
  }
}

LemmaMemory::Set& LemmaMemory::set_of(Rules rules, std::string_view form) {
  return sets_[(std::hash<std::string_view>()(form) + rules) % SETS];
}

}  // namespace Pelko
