// What a query says.
#ifndef FENRA_QUERY_SYNTAX_H
#define FENRA_QUERY_SYNTAX_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "query/articledb_query.h"
#include "query/scanner.h"
#include "query/word.h"

namespace ostren::fenra::query {

// A thing that is asked for.
struct Term {
  ArticledbQueryKind kind;
  bool excluded = false;
  size_t begin = 0;  // in the query
  size_t end = 0;
  Word word;          // LEMMA
  std::string value;  // FORM, PREFIX: the form; PHRASE: its forms; SOURCE; DATES: as written
  std::vector<std::string> tokens;  // PHRASE: all that the rules make of it, parts included
  guint32 first_date = 0;
  guint32 last_date = 0;
};

// How the terms are put together.
struct Node {
  enum class Kind { TERM, AND, OR, NOT };
  Kind kind = Kind::TERM;
  size_t term = 0;  // its number
  std::vector<Node> children;
};

struct Syntax {
  std::vector<Term> terms;
  Node root;
};

// Throws SyntaxError.
Syntax parse(std::string_view query, const WordReader& words);

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_SYNTAX_H
