#include "store/postings.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>

#include "store/database.h"
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

// Puts under one entry into the gate: readers wait for them, and they hold a lock for
// each page that they change.
constexpr size_t GROUP_PUTS = 256;

constexpr size_t GROUP_BYTES = 32768;

// Longer keys, which take pages of their own, and empty ones are put one by one.
constexpr size_t MAX_GROUPED_LENGTH = 1024;

// ---- a group of puts ----

// An item of the form that DB_MULTIPLE_KEY takes: pairs of a string and the id.
class Group {
 public:
  Group() : buffer_(GROUP_PUTS * (MAX_GROUPED_LENGTH + PAIR_BYTES) / sizeof(guint32)) { clear(); }

  void add(std::string_view string, const guint64& id) {
    DB_MULTIPLE_KEY_WRITE_NEXT(end_, &item_, string.data(), string.size(), &id, sizeof id);
    ++size_;
  }

  bool is_full() const { return size_ == GROUP_PUTS; }

  // Puts the pairs, which may exist, in one Berkeley DB transaction and begins anew. A
  // group that fails is not tried again: its pairs are to be put one by one.
  int put(ArticledbDb* db, DatabaseField database) {
    if (size_ == 0) {
      return 0;
    }
    int ret = gate_enter(db, Access::CHANGE);
    if (ret == 0) {
      DB* handle = db->*database;
      DBT unused{};
      ret = handle->put(handle, nullptr, &item_, &unused, DB_MULTIPLE_KEY | DB_OVERWRITE_DUP);
      gate_leave(db, ret);
    }
    clear();
    return ret;
  }

 private:
  // The id, the four numbers that describe a pair, and the mark behind the last one.
  static constexpr size_t PAIR_BYTES = sizeof(guint64) + 5 * sizeof(guint32);

  void clear() {
    item_ = DBT{};
    item_.data = buffer_.data();
    item_.ulen = static_cast<guint32>(buffer_.size() * sizeof(guint32));
    DB_MULTIPLE_WRITE_INIT(end_, &item_);
    size_ = bytes_ = 0;
  }

  std::vector<guint32> buffer_;
  DBT item_;
  void* end_;
  size_t size_;   // in pairs
  size_t bytes_;  // at most
};

using PutString = int (*)(ArticledbTransaction*, const char*, guint32, guint64);

int put_singly(ArticledbTransaction* t, PutString put, std::string_view string, guint64 id) {
  return put(t, string.data(), static_cast<guint32>(string.size()), id);
}

int put_in_groups(ArticledbTransaction* t, DatabaseField database, PutString put,
                  const StringSet& strings, const std::vector<size_t>& order, guint64 id) {
  Group group;
  int ret = 0;
  for (auto number = order.begin(); ret == 0 && number != order.end(); ++number) {
    const std::string_view string = strings[*number];
    if (string.empty() || string.size() > MAX_GROUPED_LENGTH) {
      ret = put_singly(t, put, string, id);
      continue;
    }
    group.add(string, id);
    if (group.is_full()) {
      ret = group.put(t->store, database);
    }
  }
  return ret == 0 ? group.put(t->store, database) : ret;
}

// Posts the id under the strings from number `first` on, in byte order: neighbours in
// the B-tree then come to lie on pages that are still in the cache. If that fails,
// once more in the order of their arrival, one by one, up to the write that fails.
int post_strings(ArticledbTransaction* t, DatabaseField database, PutString put,
                 const StringSet& strings, size_t first, guint64 id) {
  int ret;
  try {
    std::vector<size_t> order(strings.size() - first);
    for (size_t i = 0; i < order.size(); ++i) {
      order[i] = first + i;
    }
    std::sort(order.begin(), order.end(),
              [&](size_t a, size_t b) { return strings[a] < strings[b]; });
    ret = put_in_groups(t, database, put, strings, order, id);
    if (ret == 0 || ret == WRITES_LOST) {
      return ret;
    }
  } catch (const std::exception&) {
    // The single writes need no memory.
  }
  ret = 0;
  for (size_t number = first; ret == 0 && number < strings.size(); ++number) {
    ret = put_singly(t, put, strings[number], id);
  }
  return ret;
}

}  // namespace

void Postings::add_token(const char* token, int length, const GList* lemmas) {
  const std::string_view form(token, static_cast<size_t>(length));
  ++tokens_;
  add(&forms_, form);
  const char* trigram = nullptr;
  int trigram_length = 0;
  if (trigram_builder_next_trigram(&trigram_builder_, token, length, &trigram, &trigram_length) !=
      0) {
    add(&trigrams_, {trigram, static_cast<size_t>(trigram_length)});
  }
  for (const GList* lemma = lemmas; lemma != nullptr; lemma = lemma->next) {
    const std::string_view string(static_cast<const char*>(lemma->data));
    const auto lemma_length = static_cast<guint32>(string.size());
    pair_.assign(reinterpret_cast<const char*>(&lemma_length), sizeof lemma_length);
    pair_.append(string).append(form);
    if (!known_->contains(pair_)) {
      add(&lemmas_, pair_);
    }
  }
}

void Postings::add(StringSet* set, std::string_view string) {
  if (set->add(string)) {
    bytes_ += string.size();
  }
}

bool Postings::is_full() const { return tokens_ >= PORTION_TOKENS || bytes_ >= PORTION_BYTES; }

int Postings::write(ArticledbTransaction* t, guint64 id) {
  int ret = post_strings(t, &ArticledbDb::formdb, articledb_transaction_put_form, forms_,
                         written_forms_, id);
  if (ret == 0) {
    ret = post_strings(t, &ArticledbDb::trigramdb, articledb_transaction_put_trigram, trigrams_,
                       written_trigrams_, id);
  }
  return ret == 0 ? write_lemmas(t) : ret;
}

// One by one: in "lemmadb", with its short data items, what the abort of a put leaves
// behind may be a corrupt page. Few are new.
int Postings::write_lemmas(ArticledbTransaction* t) const {
  int ret = 0;
  for (size_t number = 0; ret == 0 && number < lemmas_.size(); ++number) {
    const std::string_view pair = lemmas_[number];
    guint32 lemma_length;
    memcpy(&lemma_length, pair.data(), sizeof lemma_length);
    const char* const lemma = pair.data() + sizeof lemma_length;
    const char* const form = lemma + lemma_length;
    ret = articledb_transaction_put_lemma(t, lemma, lemma_length, form,
                                          static_cast<guint32>(pair.data() + pair.size() - form));
  }
  return ret;
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
  if (forms_.bytes() + trigrams_.bytes() > REMEMBERED_BYTES) {
    forms_.clear();
    trigrams_.clear();
  }
  written_forms_ = forms_.size();
  written_trigrams_ = trigrams_.size();
  tokens_ = bytes_ = 0;
}

}  // namespace store
}  // namespace fenra
}  // namespace ostren
