#include "query/syntax.h"

#include <algorithm>
#include <optional>

#include "query/dates.h"
#include "streams/articledb_generator.h"

namespace ostren::fenra::query {
namespace {

bool is_blank(char c) { return g_ascii_isspace(c) || c == '\0'; }
bool ends_piece(char c) { return is_blank(c) || c == '(' || c == ')' || c == '"'; }

// A part of the query, as its places in it.
struct Piece {
  size_t begin;
  size_t end;
};

// The names in front of a colon.
constexpr std::string_view FORM_FIELD = "form";
constexpr std::string_view SOURCE_FIELD = "source";
constexpr std::string_view DATE_FIELD = "date";

// Reads from left to right, a function for each step of precedence. One that gives nothing has
// met only what is no word.
class Parser {
 public:
  Parser(std::string_view query, const WordReader& words) : query_(query), words_(words) {}

  Syntax run() {
    if (query_.size() > ARTICLEDB_QUERY_MOST_BYTES) {
      char reason[80];
      g_snprintf(reason, sizeof reason, "the query has %zu bytes; at most %d can be asked for",
                 query_.size(), ARTICLEDB_QUERY_MOST_BYTES);
      fail(ARTICLEDB_QUERY_MOST_BYTES, reason);
    }
    std::optional<Node> root = parse_or();
    if (at_ != query_.size()) {
      fail(at_, "this ')' has no '(' before it; remove it, or write '(' where it begins");
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

  [[noreturn]] static void fail(size_t position, std::string reason) {
    throw SyntaxError{position, std::move(reason)};
  }

  // ---- steps of precedence ----

  Result parse_or() {
    std::vector<Node> operands;
    Result operand = parse_and();
    while (is_next("OR")) {
      const size_t place = at_;
      at_ += 2;
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
      if (is_next("AND")) {
        const size_t place = at_;
        at_ += 3;
        if (!operand || !starts_operand()) {
          fail(place, "AND stands between two words or groups; write \"AND\" for the word");
        }
      }
      if (operand) {
        operands.push_back(*std::move(operand));
      }
      more = starts_operand();
    }
    return joined(Node::Kind::AND, std::move(operands));
  }

  Result parse_not() {
    bool negated = false;
    size_t word = query_.size();  // where the last NOT stands
    for (;;) {
      skip_blanks();
      if (is_next("NOT")) {
        word = at_;
        at_ += 3;
      } else if (at_ + 1 < query_.size() && query_[at_] == '-' && !is_blank(query_[at_ + 1])) {
        ++at_;
      } else {
        break;
      }
      negated = !negated;
    }
    Result operand = starts_operand() ? parse_primary() : std::nullopt;
    if (!operand && word != query_.size()) {
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
    switch (query_[at_]) {
      case '(':
        return parse_group();
      case '"':
        return parse_phrase();
      case '=':
        if (at_ + 1 < query_.size() && (!ends_piece(query_[at_ + 1]) || query_[at_ + 1] == '"')) {
          const size_t begin = at_++;
          return add_form(begin, read_value());
        }
        return parse_words();
      default:
        return is_field() ? parse_field() : parse_words();
    }
  }

  Result parse_group() {
    const size_t open = at_++;
    if (++depth_ > ARTICLEDB_QUERY_MOST_DEPTH) {
      fail(open, "parentheses stand at most 64 deep inside of each other");
    }
    Result inside = parse_or();
    --depth_;
    if (at_ == query_.size()) {
      fail(open, "this '(' is not closed; write a ')' behind what it begins");
    }
    ++at_;
    if (!inside) {
      fail(open, "there is no word between '(' and ')'");
    }
    return inside;
  }

  // ---- leaves ----

  Result parse_phrase() {
    const size_t begin = at_;
    const Piece inside = read_quoted();
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
    words_.read_tokens(bytes(inside), &term.tokens);
    return add(std::move(term));
  }

  bool is_field() const {
    const size_t colon = field_end();
    return colon != at_ && colon + 1 < query_.size() && query_[colon] == ':' &&
           (!ends_piece(query_[colon + 1]) || query_[colon + 1] == '"') &&
           query_.substr(colon, 3) != "://";
  }

  size_t field_end() const {
    size_t end = at_;
    while (end < query_.size() && g_ascii_isalpha(query_[end])) {
      ++end;
    }
    return end;
  }

  Result parse_field() {
    const size_t begin = at_;
    const size_t colon = field_end();
    const std::string_view name = bytes({at_, colon});
    if (name != FORM_FIELD && name != SOURCE_FIELD && name != DATE_FIELD) {
      fail(begin, "there is no field " + shown({begin, colon}) +
                      "; form:, source: and date: are known; for the words leave out the colon");
    }
    at_ = colon + 1;
    const Piece value = read_value();
    if (name == FORM_FIELD) {
      return add_form(begin, value);
    }
    Term term =
        new_term(name == SOURCE_FIELD ? ARTICLEDB_QUERY_SOURCE : ARTICLEDB_QUERY_DATES, begin);
    term.value = bytes(value);
    if (name == DATE_FIELD && !read_dates(term.value, &term.first_date, &term.last_date)) {
      fail(value.begin, shown(value) +
                            " is no date; write 2009, 200903, 20090315, or two of them as "
                            "20090315..20090401");
    }
    return add(std::move(term));
  }

  Result add_form(size_t begin, const Piece& value) {
    std::vector<Word> words;
    read_words(value, &words);
    if (words.size() != 1) {
      fail(begin, shown(value) + " is not one word by the rules '" + words_.rules().name +
                      "'; write several as a phrase, in double quotes");
    }
    count_words(begin, 1);
    Term term = new_term(ARTICLEDB_QUERY_FORM, begin);
    term.value = words.front().form;
    return add(std::move(term));
  }

  // All up to the next blank, parenthesis or quote.
  Result parse_words() {
    const Piece piece = read_piece();
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
    while (piece.end > piece.begin && query_[piece.end - 1] == '*') {
      --piece.end;
    }
    if (piece.end == end) {
      return "";
    }
    // A letter behind it shows which of its last characters can stand inside of a word.
    constexpr char LETTER = 'x';
    std::vector<Word> words;
    if (!words_.read(std::string(bytes(piece)) + LETTER, &words) || words.empty()) {
      return "";
    }
    std::string form = std::move(words.back().form);
    form.pop_back();
    if (words.size() > 1 && !form.empty()) {
      fail(piece.begin, shown({piece.begin, end}) + " is not the beginning of one word");
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
    for (size_t i = piece.begin + 1; i + 1 < piece.end; ++i) {
      if (query_[i] == '*' && is_word_character(query_[i - 1]) &&
          is_word_character(query_[i + 1])) {
        fail(i, "'*' stands behind the beginning of a word only, as in: etxe*");
      }
    }
  }

  // ---- reading ----

  std::string_view bytes(const Piece& piece) const {
    return query_.substr(piece.begin, piece.end - piece.begin);
  }

  // For a message, which has room for its beginning.
  std::string shown(const Piece& piece) const {
    constexpr size_t MOST_SHOWN = 60;
    const std::string_view text = bytes(piece);
    return "'" + std::string(text.substr(0, MOST_SHOWN)) + (text.size() > MOST_SHOWN ? "..." : "") +
           "'";
  }

  void skip_blanks() {
    while (at_ < query_.size() && is_blank(query_[at_])) {
      ++at_;
    }
  }

  // Whether the operator comes next, behind blanks, which are skipped.
  bool is_next(std::string_view name) {
    skip_blanks();
    const size_t end = at_ + name.size();
    return query_.substr(at_, name.size()) == name &&
           (end == query_.size() || ends_piece(query_[end]));
  }

  bool starts_operand() {
    return !is_next("OR") && !is_next("AND") && at_ < query_.size() && query_[at_] != ')';
  }

  Piece read_piece() {
    const size_t begin = at_;
    while (at_ < query_.size() && !ends_piece(query_[at_])) {
      ++at_;
    }
    return {begin, at_};
  }

  // Between double quotes.
  Piece read_quoted() {
    const size_t open = at_;
    const size_t close = query_.find('"', open + 1);
    if (close == std::string_view::npos) {
      fail(open, "this quote is not closed; write a '\"' behind the phrase");
    }
    at_ = close + 1;
    return {open + 1, close};
  }

  Piece read_value() { return query_[at_] == '"' ? read_quoted() : read_piece(); }

  void read_words(const Piece& piece, std::vector<Word>* words) const {
    if (!words_.read(bytes(piece), words)) {
      fail(piece.begin,
           shown(piece) + " is not UTF-8, as the rules '" + words_.rules().name + "' want it");
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
    term.end = at_;
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

  const std::string_view query_;
  const WordReader& words_;
  size_t at_ = 0;
  int depth_ = 0;
  size_t word_count_ = 0;
  Syntax syntax_;
};

}  // namespace

Syntax parse(std::string_view query, const WordReader& words) { return Parser(query, words).run(); }

}  // namespace ostren::fenra::query
