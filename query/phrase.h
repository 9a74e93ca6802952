// Words in a row: where they can stand, and whether they do in a text.
#ifndef FENRA_QUERY_PHRASE_H
#define FENRA_QUERY_PHRASE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "streams/ostren_generator.h"

struct ArticledbDb;

namespace ostren::fenra::query {

// Finds a row of tokens in the tokens of a text: the algorithm of Knuth, Morris and Pratt, with
// tokens for characters. Time is linear in the text.
class PhraseMatcher {
 public:
  // Borrows the tokens, at least one.
  explicit PhraseMatcher(const std::vector<std::string>& phrase);

  // Takes the text's next token. Whether it is the last one of the phrase.
  bool take(std::string_view token);

  // Before the first token of a text.
  void restart() { matched_ = 0; }

  size_t size() const { return phrase_->size(); }

 private:
  const std::vector<std::string>* phrase_;
  // For each number of tokens matched: how many the longest proper end of them has that is a
  // beginning of the phrase.
  std::vector<size_t> border_;
  size_t matched_ = 0;
};

// The articles that can have the phrase: those with its trigrams, and with the forms that are in
// none. The caller owns the stream. Null when the store fails.
OstrenGenerator* phrase_candidates(ArticledbDb* db, const std::vector<std::string>& phrase);

// Whether all candidates have the phrase: it is one form, or one trigram.
bool is_one_key(const std::vector<std::string>& phrase);

// Whether trigrams begin with the phrase, wherever a word that they take is behind it: it is of
// two such words.
bool begins_trigrams(const std::vector<std::string>& phrase);

// The articles that have a trigram which begins with such a phrase. The caller owns the stream.
// Null when the store fails.
OstrenGenerator* articles_with_trigrams_of(ArticledbDb* db, const std::vector<std::string>& phrase);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_PHRASE_H
