#include "store/writing/term_writing.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <string>
#include <vector>

#include "store/layout/database.h"
#include "store/process/gate.h"
#include "store/writing/pair_item.h"

namespace ostren::fenra::store {
namespace {

// Writes under one entry into the gate: readers wait for them, and they hold a lock for
// each page that they change.
constexpr size_t GROUP_WRITES = 256;

// In byte order: neighbours in the B-tree then come to lie on pages that are still at hand.
void sort_once_each(std::vector<KeyedId>* pairs) {
  std::sort(pairs->begin(), pairs->end(),
            [](const KeyedId& a, const KeyedId& b) { return a.key < b.key; });
  pairs->erase(std::unique(pairs->begin(), pairs->end(),
                           [](const KeyedId& a, const KeyedId& b) { return a.key == b.key; }),
               pairs->end());
}

class TermWriting {
 public:
  TermWriting(ArticledbTransaction* t, const ArticleTerms& terms, KnownPairs* known, guint64 id)
      : t_(t), terms_(terms), known_(known), id_(id) {}

  int run() {
    const size_t count = terms_.terms().size();
    int ret = 0;
    for (size_t first = 0; ret == 0 && first < count; first += GROUP_WRITES) {
      const size_t end = std::min(first + GROUP_WRITES, count);
      ret = write_group(first, end);
      if (ret != 0 && ret != WRITES_LOST) {
        // Up to the write that fails.
        ret = 0;
        for (size_t i = first; ret == 0 && i < end; ++i) {
          ret = write_singly(terms_.terms()[i]);
        }
      }
    }
    return ret;
  }

 private:
  using Kind = ArticleTerms::Kind;

  std::string_view form(const ArticleTerms::Term& term) const {
    return terms_.strings()[terms_.forms()[term.place]];
  }

  // Lemmas go in front, since other articles may have written them, and one by one: in
  // "lemmadb", with its short data items, what the abort of a put leaves behind may be a
  // corrupt page. Few are new. A failure leaves nothing of the forms and trigrams.
  int write_group(size_t first, size_t end) {
    forms_.clear();
    trigrams_.clear();
    trigram_bytes_.clear();
    trigram_bytes_.reserve(end - first);
    for (size_t i = first; i < end; ++i) {
      const ArticleTerms::Term& term = terms_.terms()[i];
      if (term.kind == Kind::LEMMA) {
        const int ret = write_lemma(term);
        if (ret != 0) {
          return ret;
        }
      } else if (term.kind == Kind::TRIGRAM) {
        trigram_bytes_.push_back(terms_.trigram(term.place));
        trigrams_.push_back({trigram_bytes_.back(), id_});
      } else if (form(term).empty()) {
        // Put by itself.
        return EINVAL;
      } else {
        forms_.push_back({form(term), id_});
      }
    }
    return put_group();
  }

  // As a whole or not at all; not tried again when it fails.
  int put_group() {
    for (auto* pairs : {&forms_, &trigrams_}) {
      sort_once_each(pairs);
    }
    form_pairs_.fill(forms_.begin(), forms_.end());
    trigram_pairs_.fill(trigrams_.begin(), trigrams_.end());
    ArticledbDb* const db = t_->store;
    int ret = gate_enter(db, Access::CHANGE);
    if (ret == 0) {
      ret = in_transaction(db->env, [&](DB_TXN* txn) {
        const int put = form_pairs_.put(db->formdb, txn);
        return put != 0 ? put : trigram_pairs_.put(db->trigramdb, txn);
      });
      ret = gate_leave(db, ret);
    }
    return ret;
  }

  int write_singly(const ArticleTerms::Term& term) {
    if (term.kind == Kind::LEMMA) {
      return write_lemma(term);
    }
    if (term.kind == Kind::TRIGRAM) {
      const std::string trigram = terms_.trigram(term.place);
      return articledb_transaction_put_trigram(t_, trigram.data(),
                                               static_cast<guint32>(trigram.size()), id_);
    }
    return articledb_transaction_put_form(t_, form(term).data(),
                                          static_cast<guint32>(form(term).size()), id_);
  }

  int write_lemma(const ArticleTerms::Term& term) {
    const PairSet::Pair& pair = terms_.lemmas()[term.place];
    const std::string_view lemma = terms_.strings()[pair.first];
    const std::string_view form = terms_.strings()[pair.second];
    return known_->contains(lemma, form) ? 0
                                         : articledb_transaction_put_lemma(
                                               t_, lemma.data(), static_cast<guint32>(lemma.size()),
                                               form.data(), static_cast<guint32>(form.size()));
  }

  ArticledbTransaction* const t_;
  const ArticleTerms& terms_;
  KnownPairs* const known_;
  const guint64 id_;
  // Of a group.
  std::vector<KeyedId> forms_;
  std::vector<KeyedId> trigrams_;
  std::vector<std::string> trigram_bytes_;
  PairItem form_pairs_;
  PairItem trigram_pairs_;
};

}  // namespace

int write_terms(ArticledbTransaction* t, const ArticleTerms& terms, KnownPairs* known, guint64 id) {
  try {
    return TermWriting(t, terms, known, id).run();
  } catch (const std::exception&) {
    return ENOMEM;
  }
}

}  // namespace ostren::fenra::store
