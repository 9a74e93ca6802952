// The postings of an article that is being indexed: collected portion by portion, each
// pair once, and written in groups.
#ifndef FENRA_STORE_ARTICLE_POSTINGS_H
#define FENRA_STORE_ARTICLE_POSTINGS_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/string_set.h"
#include "store/article/known_pairs.h"
#include "store/articledb.h"

namespace ostren::fenra::store {

class Postings {
 public:
  // `known` outlives this.
  explicit Postings(ArticledbKnownPairs* known) : known_(known) {
    trigram_builder_init(&trigram_builder_);
  }

  // Adds a token's form, the trigram it completes, and its lemmas. Throws a
  // std::exception when memory is short.
  void add_token(const char* token, int length, const GList* lemmas);

  // Whether the portion has as much as can be held.
  bool is_full() const;

  // Writes the portion under the id; can be repeated. Returns 0 or the code of the write
  // that failed, or WRITES_LOST. The writes take place in the order of the tokens, each
  // token's form before its trigram before its lemmas: whatever ends them, of forms and
  // trigrams those up to some point are in the store.
  int write(ArticledbTransaction* t, guint64 id) const;

  // The article as the numbers of its forms, of the first portion only: each three that
  // stand together without a BREAK are a trigram, and there are no others. Null where that
  // cannot be said.
  static constexpr guint32 BREAK = ~guint32{0};
  const std::vector<guint32>* sequence() const { return sequence_known_ ? &sequence_ : nullptr; }

  // By number; valid until the next token is added.
  size_t form_count() const { return forms_.size(); }
  std::string_view form(size_t number) const { return forms_[number]; }

  // About what the databases grow by for the portion, in bytes, at most.
  size_t growth() const;

  // The pairs of the portion that are not known to be on disk.
  struct LemmaPair {
    std::string_view lemma;
    std::string_view form;
  };
  size_t lemma_count() const { return lemmas_.size(); }
  LemmaPair lemma_pair(size_t number) const;

  // Begins the next portion; what has been written is on disk.
  void next_portion();

 private:
  enum class Kind : guint32 { FORM, TRIGRAM, LEMMA };
  struct Write {
    Kind kind;
    guint32 number;  // in the set of its kind
  };
  class Group;

  guint32 add(Kind kind, StringSet* set, std::string_view string);
  void continue_sequence(guint32 form, bool builds_trigram);
  int write_singly(ArticledbTransaction* t, guint64 id, const Write& write) const;
  int write_lemma(ArticledbTransaction* t, const Write& write) const;
  int write_group(ArticledbTransaction* t, guint64 id, size_t first, size_t end,
                  Group* group) const;

  ArticledbKnownPairs* const known_;
  TrigramBuilder trigram_builder_;
  // Of the whole article, as far as they are remembered.
  StringSet forms_;
  StringSet trigrams_;
  // Of the portion, without the known ones: the lemma's length, 4 bytes, the lemma and
  // the form.
  StringSet lemmas_;
  std::vector<Write> writes_;  // of the portion
  size_t tokens_ = 0;          // of the portion
  size_t bytes_ = 0;           // of the portion, in all sets
  std::string pair_;
  std::vector<guint32> sequence_;
  guint32 last_forms_[TRIGRAM_BUILDER_WORDS - 1] = {};  // the older one first
  bool in_run_ = false;                                 // the last form is in the sequence
  bool sequence_known_ = true;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_POSTINGS_H
