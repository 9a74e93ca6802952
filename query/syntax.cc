#include "query/syntax.h"

#include <algorithm>
#include <optional>

#include "query/dates.h"
#include "query/scanner.h"
#include "streams/articledb_generator.h"

namespace ostren::fenra::query {
namespace {

// The names in front of a colon.
constexpr std::string_view FORM_FIELD = "form";
constexpr std::string_view SOURCE_FIELD = "source";
constexpr std::string_view DATE_FIELD = "date";

// Reads from left to right, a function for each step of precedence. One that gives nothing has
// met only what is no word.
class Parser {
 public:
  Parser(std::string_view query, const WordReader& words) : in_(query), words_(words) {}

  Syntax run() {
    if (in_.size() > ARTICLEDB_QUERY_MOST_BYTES) {
      char reason[80];
      g_snprintf(reason, sizeof reason, "the query has %zu bytes; at most %d can be asked for",
                 in_.size(), ARTICLEDB_QUERY_MOST_BYTES);
      fail(ARTICLEDB_QUERY_MOST_BYTES, reason);
    }
    std::optional<Node> root = parse_or();
    if (!in_.at_end()) {
      fail(in_.at(), "this ')' has no '(' before it; remove it, or write '(' where it begins");
    }
    if (!root) {
      throw SyntaxError{0, "the query has no word; write one at least, as: etxe", true};
    }
    syntax_.root = *std::move(root);
    require_wanted();
    return std::move(syntax_);
  }

 private:
  using Result = std::optional<Node>;

  // ---- steps of precedence ----

  Result parse_or() {
    std::vector<Node> operands;
    Result operand = parse_and();
    while (in_.is_next("OR")) {
      const size_t place = in_.at();
      in_.skip(2);
      Result right = parse_and();
      if (!operand || !right) {
        fail(place, "OR stands between two words or groups; write \"OR\" for the word");
      }
      operands.push_back(*std::move(operand));
      operand = std::move(right);
    }
    if (operand) {
      operands.push_back(*std::move(operand));
    }
    return joined(Node::Kind::OR, std::move(operands));
  }

  Result parse_and() {
    std::vector<Node> operands;
    for (bool more = true; more;) {
      Result operand = parse_not();
      if (in_.is_next("AND")) {
        const size_t place = in_.at();
        in_.skip(3);
        if (!operand || !in_.is_operand_next()) {
          fail(place, "AND stands between two words or groups; write \"AND\" for the word");
        }
      }
      if (operand) {
        operands.push_back(*std::move(operand));
      }
      more = in_.is_operand_next();
    }
    return joined(Node::Kind::AND, std::move(operands));
  }

  Result parse_not() {
    bool negated = false;
    size_t word = in_.size();  // where the last NOT stands
    for (;;) {
      if (in_.is_next("NOT")) {
        word = in_.at();
        in_.skip(3);
      } else if (in_.peek() == '-' && !Scanner::is_blank(in_.peek(1))) {
        in_.skip(1);
      } else {
        break;
      }
      negated = !negated;
    }
    Result operand = in_.is_operand_next() ? parse_primary() : std::nullopt;
    if (!operand && word != in_.size()) {
      fail(word, "NOT stands before a word or a group; write \"NOT\" for the word");
    }
    if (operand && negated) {
      Node node;
      node.kind = Node::Kind::NOT;
      node.children.push_back(*std::move(operand));
      operand = std::move(node);
    }
    return operand;
  }

  Result parse_primary() {
    switch (in_.peek()) {
      case '(':
        return parse_group();
      case '"':
        return parse_phrase();
      case '=':
        if (in_.is_value_next(1)) {
          const size_t begin = in_.at();
          in_.skip(1);
          return add_form(begin, in_.read_value());
        }
        return parse_words();
      default:
        return is_field() ? parse_field() : parse_words();
    }
  }

  Result parse_group() {
    const size_t open = in_.at();
    in_.skip(1);
    if (++depth_ > ARTICLEDB_QUERY_MOST_DEPTH) {
      fail(open, "parentheses stand at most 64 deep inside of each other");
    }
    Result inside = parse_or();
    --depth_;
    if (in_.at_end()) {
      fail(open, "this '(' is not closed; write a ')' behind what it begins");
    }
    in_.skip(1);
    if (!inside) {
      fail(open, "there is no word between '(' and ')'");
    }
    return inside;
  }

  // ---- leaves ----

  Result parse_phrase() {
    const size_t begin = in_.at();
    const Piece inside = in_.read_quoted();
    std::vector<Word> words;
    read_words(inside, &words);
    if (words.empty()) {
      return std::nullopt;
    }
    count_words(inside.begin, words.size());
    Term term = new_term(ARTICLEDB_QUERY_PHRASE, begin);
    for (const Word& word : words) {
      term.value += (term.value.empty() ? "" : " ") + word.form;
    }
    words_.read_tokens(in_.bytes(inside), &term.tokens);
    return add(std::move(term));
  }

  static bool is_known(std::string_view name) {
    return name == FORM_FIELD || name == SOURCE_FIELD || name == DATE_FIELD;
  }

  // A word with a colon behind it is a word.
  bool is_field() const {
    const std::string_view name = in_.bytes(in_.field());
    return is_known(name) || (!name.empty() && in_.is_value_next(name.size() + 1));
  }

  Result parse_field() {
    const Piece field = in_.field();
    const std::string_view name = in_.bytes(field);
    if (!is_known(name)) {
      fail(field.begin,
           "there is no field " + in_.shown(field) +
               "; form:, source: and date: are known; for the words leave out the colon");
    }
    in_.skip(name.size() + 1);
    if (!in_.is_value_next(0)) {
      fail(field.begin, "there is nothing behind " + std::string(name) +
                            ":; write it there without a blank, or leave out the colon");
    }
    const Piece value = in_.read_value();
    if (name == FORM_FIELD) {
      return add_form(field.begin, value);
    }
    Term term = new_term(name == SOURCE_FIELD ? ARTICLEDB_QUERY_SOURCE : ARTICLEDB_QUERY_DATES,
                         field.begin);
    term.value = in_.bytes(value);
    if (name == DATE_FIELD && !read_dates(term.value, &term.first_date, &term.last_date)) {
      fail(value.begin, in_.shown(value) +
                            " is no date; write 2009, 200903, 20090315, or two of them as "
                            "20090315..20090401");
    }
    return add(std::move(term));
  }

  Result add_form(size_t begin, const Piece& value) {
    std::vector<Word> words;
    read_words(value, &words);
    if (words.size() != 1) {
      fail(begin, in_.shown(value) + " is not one word by the rules '" + words_.rules().name +
                      "'; write several as a phrase, in double quotes");
    }
    count_words(begin, 1);
    Term term = new_term(ARTICLEDB_QUERY_FORM, begin);
    term.value = words.front().form;
    return add(std::move(term));
  }

  // All up to the next blank, parenthesis or quote.
  Result parse_words() {
    const Piece piece = in_.read_piece();
    std::vector<Word> words;
    const std::string beginning = beginning_of(piece);
    if (!beginning.empty()) {
      return add_prefix(piece, beginning);
    }
    require_no_star_inside(piece);
    read_words(piece, &words);
    count_words(piece.begin, words.size());
    std::vector<Node> nodes;
    for (Word& word : words) {
      Term term = new_term(ARTICLEDB_QUERY_LEMMA, piece.begin);
      term.word = std::move(word);
      nodes.push_back(add(std::move(term)));
    }
    return joined(Node::Kind::AND, std::move(nodes));
  }

  // What the word begins with that the piece, up to the '*' at its end, is the beginning of;
  // empty when it is none.
  std::string beginning_of(Piece piece) const {
    const size_t end = piece.end;
    while (piece.end > piece.begin && in_.bytes(piece).back() == '*') {
      --piece.end;
    }
    if (piece.end == end) {
      return "";
    }
    // A letter behind it shows which of its last characters can stand inside of a word.
    constexpr char LETTER = 'x';
    std::vector<Word> words;
    if (!words_.read(std::string(in_.bytes(piece)) + LETTER, &words) || words.empty()) {
      return "";
    }
    std::string form = std::move(words.back().form);
    form.pop_back();
    if (words.size() > 1 && !form.empty()) {
      fail(piece.begin, in_.shown({piece.begin, end}) + " is not the beginning of one word");
    }
    return words.size() == 1 ? form : "";
  }

  Node add_prefix(const Piece& piece, const std::string& beginning) {
    if (beginning.size() > ARTICLEDB_MOST_PREFIX_BYTES) {
      fail(piece.begin, "the beginning of a word has at most 900 bytes");
    }
    count_words(piece.begin, 1);
    Term term = new_term(ARTICLEDB_QUERY_PREFIX, piece.begin);
    term.value = beginning;
    return add(std::move(term));
  }

  static bool is_word_character(char c) {
    return g_ascii_isalnum(c) || (static_cast<unsigned char>(c) & 0x80) != 0;
  }

  // What looks like a pattern is not quietly taken for two words.
  void require_no_star_inside(const Piece& piece) const {
    const std::string_view bytes = in_.bytes(piece);
    for (size_t i = 1; i + 1 < bytes.size(); ++i) {
      if (bytes[i] == '*' && is_word_character(bytes[i - 1]) && is_word_character(bytes[i + 1])) {
        fail(piece.begin + i, "'*' stands behind the beginning of a word only, as in: etxe*");
      }
    }
  }

  // ---- reading ----

  void read_words(const Piece& piece, std::vector<Word>* words) const {
    if (!words_.read(in_.bytes(piece), words)) {
      fail(piece.begin,
           in_.shown(piece) + " is not UTF-8, as the rules '" + words_.rules().name + "' want it");
    }
  }

  void count_words(size_t position, size_t more) {
    word_count_ += more;
    if (word_count_ > ARTICLEDB_QUERY_MOST_WORDS) {
      fail(position, "the query has more than 64 words; leave some out from here on");
    }
  }

  // ---- building ----

  static Term new_term(ArticledbQueryKind kind, size_t begin) {
    Term term;
    term.kind = kind;
    term.begin = begin;
    return term;
  }

  // Of what has been read last.
  Node add(Term term) {
    term.end = in_.at();
    Node node;
    node.term = syntax_.terms.size();
    syntax_.terms.push_back(std::move(term));
    return node;
  }

  static Result joined(Node::Kind kind, std::vector<Node> operands) {
    if (operands.size() < 2) {
      return operands.empty() ? Result() : std::move(operands.front());
    }
    Node node;
    node.kind = kind;
    node.children = std::move(operands);
    return node;
  }

  void note_excluded(const Node& node, bool excluded) {
    if (node.kind == Node::Kind::TERM) {
      syntax_.terms[node.term].excluded = excluded;
    }
    for (const Node& child : node.children) {
      note_excluded(child, excluded != (node.kind == Node::Kind::NOT));
    }
  }

  void require_wanted() {
    note_excluded(syntax_.root, false);
    if (std::all_of(syntax_.terms.begin(), syntax_.terms.end(),
                    [](const Term& term) { return term.excluded; })) {
      fail(0, "the query only says what is not wanted; add a word that is");
    }
  }

  Scanner in_;
  const WordReader& words_;
  int depth_ = 0;
  size_t word_count_ = 0;
  Syntax syntax_;
};

}  // namespace

Syntax parse(std::string_view query, const WordReader& words) { return Parser(query, words).run(); }

}  // namespace ostren::fenra::query
