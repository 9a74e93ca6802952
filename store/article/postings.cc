#include "store/article/postings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

#include "store/layout/database.h"
#include "store/layout/stored_key.h"
#include "store/process/gate.h"
#include "store/writing/pair_item.h"

namespace ostren::fenra::store {
namespace {

// About a megabyte of log.
constexpr size_t PORTION_TOKENS = 4096;
constexpr size_t PORTION_BYTES = size_t{1} << 20;

// What is remembered of the earlier portions of an article.
constexpr size_t REMEMBERED_BYTES = size_t{4} << 20;

// Writes under one entry into the gate: readers wait for them, and they hold a lock for
// each page that they change.
constexpr size_t GROUP_WRITES = 256;

}  // namespace

// A run of writes that reaches the store as a whole or not at all.
class Postings::Group {
 public:
  std::vector<KeyedId> forms;
  std::vector<KeyedId> trigrams;

  // Not tried again when it fails.
  int put(ArticledbDb* db) {
    fill(&forms, &form_pairs_);
    fill(&trigrams, &trigram_pairs_);
    int ret = gate_enter(db, Access::CHANGE);
    if (ret == 0) {
      ret = in_transaction(db->env, [&](DB_TXN* txn) {
        const int put = form_pairs_.put(db->formdb, txn);
        return put != 0 ? put : trigram_pairs_.put(db->trigramdb, txn);
      });
      gate_leave(db, ret);
    }
    return ret;
  }

 private:
  // In byte order: neighbours in the B-tree then come to lie on pages that are still at
  // hand.
  static void fill(std::vector<KeyedId>* pairs, PairItem* item) {
    std::sort(pairs->begin(), pairs->end(),
              [](const KeyedId& a, const KeyedId& b) { return a.key < b.key; });
    item->fill(pairs->begin(), pairs->end());
  }

  PairItem form_pairs_;
  PairItem trigram_pairs_;
};

void Postings::add_token(const char* token, int length, const GList* lemmas) {
  const StoredKey stored({token, static_cast<size_t>(length)});
  const std::string_view form = stored.bytes();
  ++tokens_;
  const guint32 number = add(Kind::FORM, &forms_, form);
  const char* trigram = nullptr;
  int trigram_length = 0;
  const bool built = trigram_builder_next_trigram(&trigram_builder_, token, length, &trigram,
                                                  &trigram_length) != 0;
  if (built) {
    add(Kind::TRIGRAM, &trigrams_, {trigram, static_cast<size_t>(trigram_length)});
  }
  // Such a word ends in a trigram at its zero byte.
  sequence_known_ = sequence_known_ && form.find('\0') == std::string_view::npos;
  continue_sequence(number, built);
  for (const GList* lemma = lemmas; lemma != nullptr; lemma = lemma->next) {
    const StoredKey stored_lemma(static_cast<const char*>(lemma->data));
    const std::string_view string = stored_lemma.bytes();
    const auto lemma_length = static_cast<guint32>(string.size());
    pair_.assign(reinterpret_cast<const char*>(&lemma_length), sizeof lemma_length);
    pair_.append(string).append(form);
    if (!known_->contains(pair_)) {
      add(Kind::LEMMA, &lemmas_, pair_);
    }
  }
}

// Returns the string's number.
guint32 Postings::add(Kind kind, StringSet* set, std::string_view string) {
  guint32 number = 0;
  if (set->add(string, &number)) {
    bytes_ += string.size();
    writes_.push_back({kind, number});
  }
  return number;
}

void Postings::continue_sequence(guint32 form, bool builds_trigram) {
  if (builds_trigram && !in_run_) {
    sequence_.insert(sequence_.end(), {BREAK, last_forms_[0], last_forms_[1]});
  }
  if (builds_trigram) {
    sequence_.push_back(form);
  }
  in_run_ = builds_trigram;
  last_forms_[0] = last_forms_[1];
  last_forms_[1] = form;
}

size_t Postings::growth() const {
  // An item with its id, on a page that is half full.
  constexpr size_t BYTES_BESIDE_A_KEY = 40;
  return 2 * (bytes_ + writes_.size() * BYTES_BESIDE_A_KEY);
}

bool Postings::is_full() const { return tokens_ >= PORTION_TOKENS || bytes_ >= PORTION_BYTES; }

int Postings::write(ArticledbTransaction* t, guint64 id) const {
  Group group;
  int ret = 0;
  for (size_t first = 0; ret == 0 && first < writes_.size(); first += GROUP_WRITES) {
    const size_t end = std::min(first + GROUP_WRITES, writes_.size());
    ret = write_group(t, id, first, end, &group);
    if (ret == 0 || ret == WRITES_LOST) {
      continue;
    }
    // Up to the write that fails.
    ret = 0;
    for (size_t i = first; ret == 0 && i < end; ++i) {
      ret = write_singly(t, id, writes_[i]);
    }
  }
  return ret;
}

// Lemmas go in front, since other articles may have written them, and one by one: in
// "lemmadb", with its short data items, what the abort of a put leaves behind may be a
// corrupt page. Few are new. A failure leaves nothing of the forms and trigrams.
int Postings::write_group(ArticledbTransaction* t, guint64 id, size_t first, size_t end,
                          Group* group) const {
  int ret = 0;
  try {
    group->forms.clear();
    group->trigrams.clear();
    for (size_t i = first; ret == 0 && i < end; ++i) {
      const Write& write = writes_[i];
      if (write.kind == Kind::LEMMA) {
        ret = write_lemma(t, write);
      } else {
        const bool is_form = write.kind == Kind::FORM;
        const std::string_view string = (is_form ? forms_ : trigrams_)[write.number];
        // An empty one is put by itself.
        if (string.empty()) {
          return EINVAL;
        }
        (is_form ? group->forms : group->trigrams).push_back({string, id});
      }
    }
    return ret != 0 ? ret : group->put(t->store);
  } catch (const std::exception&) {
    return ENOMEM;
  }
}

int Postings::write_singly(ArticledbTransaction* t, guint64 id, const Write& write) const {
  if (write.kind == Kind::LEMMA) {
    return write_lemma(t, write);
  }
  const bool is_form = write.kind == Kind::FORM;
  const std::string_view string = (is_form ? forms_ : trigrams_)[write.number];
  return (is_form ? articledb_transaction_put_form : articledb_transaction_put_trigram)(
      t, string.data(), static_cast<guint32>(string.size()), id);
}

int Postings::write_lemma(ArticledbTransaction* t, const Write& write) const {
  const LemmaPair pair = lemma_pair(write.number);
  return articledb_transaction_put_lemma(t, pair.lemma.data(),
                                         static_cast<guint32>(pair.lemma.size()), pair.form.data(),
                                         static_cast<guint32>(pair.form.size()));
}

Postings::LemmaPair Postings::lemma_pair(size_t number) const {
  const std::string_view pair = lemmas_[number];
  guint32 lemma_length;
  memcpy(&lemma_length, pair.data(), sizeof lemma_length);
  return {pair.substr(sizeof lemma_length, lemma_length),
          pair.substr(sizeof lemma_length + lemma_length)};
}

void Postings::next_portion() {
  try {
    for (size_t number = 0; number < lemmas_.size(); ++number) {
      known_->add(lemmas_[number]);
    }
  } catch (const std::exception&) {
    // What is not known is asked for again.
  }
  lemmas_.clear();
  writes_.clear();
  sequence_.clear();
  sequence_known_ = false;
  if (forms_.bytes() + trigrams_.bytes() > REMEMBERED_BYTES) {
    forms_.clear();
    trigrams_.clear();
  }
  tokens_ = bytes_ = 0;
}

}  // namespace ostren::fenra::store
