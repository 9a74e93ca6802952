// The postings of an article that is being indexed: collected portion by portion, each
// pair once, and written in groups.
#ifndef FENRA_STORE_POSTINGS_H
#define FENRA_STORE_POSTINGS_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "store/articledb.h"
#include "store/known_pairs.h"
#include "store/string_set.h"

namespace ostren {
namespace fenra {
namespace store {

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

  // Begins the next portion; what has been written is on disk.
  void next_portion();

 private:
  enum class Kind : guint32 { FORM, TRIGRAM, LEMMA };
  struct Write {
    Kind kind;
    guint32 number;  // in the set of its kind
  };
  class Group;

  void add(Kind kind, StringSet* set, std::string_view string);
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
};

}  // namespace store
}  // namespace fenra
}  // namespace ostren

#endif  // FENRA_STORE_POSTINGS_H
