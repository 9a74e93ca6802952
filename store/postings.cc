#include "store/postings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

#include "store/gate.h"

namespace ostren {
namespace fenra {
namespace store {
namespace {

// About a megabyte of log.
constexpr size_t PORTION_TOKENS = 4096;
constexpr size_t PORTION_BYTES = size_t{1} << 20;

// What is remembered of the earlier portions of an article.
constexpr size_t REMEMBERED_BYTES = size_t{4} << 20;

// Writes under one entry into the gate: readers wait for them, and they hold a lock for
// each page that they change.
constexpr size_t GROUP_WRITES = 256;

// Longer keys, which take pages of their own, and empty ones are put one by one.
constexpr size_t MAX_GROUPED_LENGTH = 1024;

bool fits_a_group(std::string_view string) {
  return !string.empty() && string.size() <= MAX_GROUPED_LENGTH;
}

// An item of the form that DB_MULTIPLE_KEY takes: pairs of a string and an id.
class Pairs {
 public:
  // The strings in byte order: neighbours in the B-tree then come to lie on pages that
  // are still at hand. Throws std::bad_alloc.
  void fill(std::vector<std::string_view>* strings, const guint64& id) {
    std::sort(strings->begin(), strings->end());
    size_t bytes = sizeof(guint32);
    for (const std::string_view string : *strings) {
      bytes += string.size() + sizeof id + 4 * sizeof(guint32);
    }
    buffer_.resize(bytes / sizeof(guint32) + 1);
    item_ = DBT{};
    item_.data = buffer_.data();
    item_.ulen = static_cast<guint32>(buffer_.size() * sizeof(guint32));
    void* end = nullptr;
    DB_MULTIPLE_WRITE_INIT(end, &item_);
    for (const std::string_view string : *strings) {
      DB_MULTIPLE_KEY_WRITE_NEXT(end, &item_, string.data(), string.size(), &id, sizeof id);
    }
    empty_ = strings->empty();
  }

  // Puts them; they may exist.
  int put(DB* database, DB_TXN* txn) {
    DBT unused{};
    return empty_
               ? 0
               : database->put(database, txn, &item_, &unused, DB_MULTIPLE_KEY | DB_OVERWRITE_DUP);
  }

 private:
  std::vector<guint32> buffer_;
  DBT item_ = {};
  bool empty_ = true;
};

}  // namespace

// A run of writes that reaches the store as a whole or not at all.
class Postings::Group {
 public:
  std::vector<std::string_view> forms;
  std::vector<std::string_view> trigrams;

  // Not tried again when it fails.
  int put(ArticledbDb* db, guint64 id) {
    form_pairs_.fill(&forms, id);
    trigram_pairs_.fill(&trigrams, id);
    int ret = gate_enter(db, Access::CHANGE);
    if (ret == 0) {
      ret = put_in_transaction(db);
      gate_leave(db, ret);
    }
    return ret;
  }

 private:
  int put_in_transaction(ArticledbDb* db) {
    DB_TXN* txn = nullptr;
    int ret = db->env->txn_begin(db->env, nullptr, &txn, 0);
    if (ret != 0) {
      return ret;
    }
    ret = form_pairs_.put(db->formdb, txn);
    if (ret == 0) {
      ret = trigram_pairs_.put(db->trigramdb, txn);
    }
    if (ret == 0) {
      return txn->commit(txn, 0);
    }
    const int undone = txn->abort(txn);
    return undone == DB_RUNRECOVERY ? undone : ret;
  }

  Pairs form_pairs_;
  Pairs trigram_pairs_;
};

void Postings::add_token(const char* token, int length, const GList* lemmas) {
  const std::string_view form(token, static_cast<size_t>(length));
  ++tokens_;
  add(Kind::FORM, &forms_, form);
  const char* trigram = nullptr;
  int trigram_length = 0;
  if (trigram_builder_next_trigram(&trigram_builder_, token, length, &trigram, &trigram_length) !=
      0) {
    add(Kind::TRIGRAM, &trigrams_, {trigram, static_cast<size_t>(trigram_length)});
  }
  for (const GList* lemma = lemmas; lemma != nullptr; lemma = lemma->next) {
    const std::string_view string(static_cast<const char*>(lemma->data));
    const auto lemma_length = static_cast<guint32>(string.size());
    pair_.assign(reinterpret_cast<const char*>(&lemma_length), sizeof lemma_length);
    pair_.append(string).append(form);
    if (!known_->contains(pair_)) {
      add(Kind::LEMMA, &lemmas_, pair_);
    }
  }
}

void Postings::add(Kind kind, StringSet* set, std::string_view string) {
  if (set->add(string)) {
    bytes_ += string.size();
    writes_.push_back({kind, static_cast<guint32>(set->size() - 1)});
  }
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
        if (!fits_a_group(string)) {
          return EINVAL;
        }
        (is_form ? group->forms : group->trigrams).push_back(string);
      }
    }
    return ret != 0 ? ret : group->put(t->store, id);
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
  const std::string_view pair = lemmas_[write.number];
  guint32 lemma_length;
  memcpy(&lemma_length, pair.data(), sizeof lemma_length);
  const char* const lemma = pair.data() + sizeof lemma_length;
  const char* const form = lemma + lemma_length;
  return articledb_transaction_put_lemma(t, lemma, lemma_length, form,
                                         static_cast<guint32>(pair.data() + pair.size() - form));
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
  if (forms_.bytes() + trigrams_.bytes() > REMEMBERED_BYTES) {
    forms_.clear();
    trigrams_.clear();
  }
  tokens_ = bytes_ = 0;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
