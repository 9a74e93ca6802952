// The terms of an article, by which it is found: its distinct word forms, its trigrams, and
// the lemmas of its forms. Every way into the store takes them from here.
#ifndef FENRA_STORE_ARTICLE_ARTICLE_TERMS_H
#define FENRA_STORE_ARTICLE_ARTICLE_TERMS_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "base/pair_set.h"
#include "base/string_table.h"
#include "store/articledb.h"

namespace ostren::fenra::store {

// Where an article's words come from: the host's functions, with their states.
struct WordSource {
  // How often the lemmatizer is asked: what it answers may depend on more than the form.
  enum class Asking { EVERY_TOKEN, ONCE_A_FORM };

  ArticledbNextTokenFunc next_token;
  void* tokenizer;
  ArticledbLemmatizerFunc lemmatize;
  void* lemmatizer;
  Asking asking;
};

// Collected in portions, so that a long article needs no more memory than a short one.
class ArticleTerms {
 public:
  enum class Portion { WHOLE, BOUNDED };

  // Stands in the sequence between words that do not follow each other.
  static constexpr guint32 BREAK = ~guint32{0};

  // A term that came up, in the order of the tokens: a token's form before the trigram that
  // it completes, before its lemmas.
  enum class Kind : guint32 { FORM, TRIGRAM, LEMMA };
  struct Term {
    Kind kind;
    guint32 place;  // in forms(), in sequence() where the trigram begins, or in lemmas()
  };

  ArticleTerms() { trigram_builder_init(&trigram_builder_); }

  // Takes tokens until the source has no more, or the portion is as large as it may be. Returns
  // ARTICLEDB_TOKEN_OK when there may be more; ARTICLEDB_TOKEN_END; what the source has failed
  // with; or EINVAL for a token of negative length. Throws std::bad_alloc and
  // std::length_error. What has been taken stays.
  int take(const WordSource& source, Portion portion);
  guint32 tokens() const { return tokens_; }  // taken in all

  // Begins the next portion, for which nothing of the present one is left but the forms that are
  // still remembered, and the words with which a trigram may go on.
  void next_portion();

  // All strings of the portion, by number, as StoredKeys: forms, lemmas, and the words of
  // trigrams. Other references into this are numbers of it. Valid until the next token.
  const StringTable& strings() const { return strings_; }

  // The distinct forms that the portion has and the remembered ones before it had not.
  const std::vector<guint32>& forms() const { return forms_; }

  // The trigrams: each three numbers that stand together without a BREAK; the same ones may
  // come again.
  const std::vector<guint32>& sequence() const { return sequence_; }
  std::string trigram(guint32 place) const;

  // Distinct: lemma and form.
  const PairSet& lemmas() const { return lemmas_; }

  const std::vector<Term>& terms() const { return terms_; }

  // About the bytes of all terms of the portion, each as a key.
  size_t bytes() const { return bytes_; }

  // The forms and the sequence say all, and the sequence is one of forms: no portion has gone
  // before, and no form has a zero byte, at which it ends in a trigram.
  bool is_plain() const { return plain_; }

 private:
  bool is_full() const;
  void take_token(std::string_view token, const WordSource& source);
  bool take_form(guint32 number);
  void take_trigram(std::string_view token, guint32 number);
  void take_lemmas(std::string_view token, guint32 number, const WordSource& source);
  void add(Kind kind, size_t place, size_t bytes);

  TrigramBuilder trigram_builder_;
  StringTable strings_;
  std::vector<bool> is_form_;  // by number
  std::vector<guint32> forms_;
  std::vector<guint32> sequence_;
  PairSet lemmas_;
  std::vector<Term> terms_;
  size_t bytes_ = 0;
  guint32 portion_tokens_ = 0;
  guint32 tokens_ = 0;
  guint32 last_words_[TRIGRAM_BUILDER_WORDS - 1] = {};  // the older one first
  bool in_run_ = false;                                 // the last word is in the sequence
  bool plain_ = true;
};

}  // namespace ostren::fenra::store

#endif  // FENRA_STORE_ARTICLE_ARTICLE_TERMS_H
