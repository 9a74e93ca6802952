// Where a text has what a query asks for.
#ifndef FENRA_QUERY_MARKER_H
#define FENRA_QUERY_MARKER_H

#include <glib.h>

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "query/phrase.h"
#include "query/syntax.h"

namespace ostren::fenra::query {

// A bit for each of the terms that are not excluded.
using TermSet = guint64;

// A place in a text, and the terms that it matches.
struct Match {
  guint32 begin;
  guint32 end;
  TermSet terms;
};

class Marker {
 public:
  // Reads the forms of the lemmas. Borrows the syntax and the rules. Throws StoreFailed.
  Marker(ArticledbDb* db, const ArticledbRules& rules, const Syntax& syntax);

  // The matches in a text, ascending and apart from each other.
  std::vector<Match> find(std::string_view text) const;

 private:
  struct Prefix {
    std::string bytes;
    TermSet term;
  };
  struct Phrase {
    PhraseMatcher matcher;
    TermSet term;
  };

  void add_word(ArticledbDb* db, const Word& word, TermSet term);
  TermSet terms_of(std::string_view form) const;

  const ArticledbRules& rules_;
  // As the store has them, so a long one in its shortened form.
  std::map<std::string, TermSet, std::less<>> forms_;
  std::vector<Prefix> prefixes_;
  std::vector<Phrase> phrases_;
  size_t longest_phrase_ = 0;  // in tokens
};

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_MARKER_H
