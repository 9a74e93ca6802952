// Words of a query, by the rules of words of a store.
#ifndef FENRA_QUERY_WORD_H
#define FENRA_QUERY_WORD_H

#include <string>
#include <string_view>
#include <vector>

#include "rules/articledb_rules.h"
#include "streams/ostren_generator.h"

struct ArticledbDb;

namespace ostren::fenra::query {

// A token as it is looked for.
struct Word {
  std::string form;
  std::string lemma;
  // Of a compound with a letter in it, whose parts say together what it says, each once; the
  // parts of numbers are numbers of other meaning.
  std::vector<Word> parts;
};

// Reads by some rules, with lemmas of a lexicon. Borrows both.
class WordReader {
 public:
  WordReader(const ArticledbRules& rules, void* lemmatizer)
      : rules_(rules), lemmatizer_(lemmatizer) {}

  // Sets `words` to those of the text. False when the rules cannot read it.
  bool read(std::string_view text, std::vector<Word>* words) const;

  // The tokens of the text, parts included. False when the rules cannot read it.
  bool read_tokens(std::string_view text, std::vector<std::string>* tokens) const;

  const ArticledbRules& rules() const { return rules_; }

 private:
  template <typename Visit>
  bool visit_tokens(std::string_view text, Visit visit) const;
  std::string lemma_of(const std::string& form) const;

  const ArticledbRules& rules_;
  void* const lemmatizer_;
};

// The articles with any form of the word's lemma, or, of a compound, of the lemma of each of
// its parts. The caller owns the stream. Null when the store fails.
OstrenGenerator* word_stream(ArticledbDb* db, const Word& word);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_WORD_H
