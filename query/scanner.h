// Reads the bytes of a query, piece by piece.
#ifndef FENRA_QUERY_SCANNER_H
#define FENRA_QUERY_SCANNER_H

#include <glib.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace ostren::fenra::query {

// The reason is a sentence for people.
struct SyntaxError {
  size_t position;
  std::string reason;
  bool no_word = false;
};

[[noreturn]] inline void fail(size_t position, std::string reason) {
  throw SyntaxError{position, std::move(reason)};
}

// A part of the query, as its places in it.
struct Piece {
  size_t begin;
  size_t end;
};

class Scanner {
 public:
  explicit Scanner(std::string_view query) : query_(query) {}

  size_t at() const { return at_; }
  bool at_end() const { return at_ == query_.size(); }
  size_t size() const { return query_.size(); }
  void skip(size_t bytes) { at_ += bytes; }

  // The byte so many behind the present one; a blank behind the end.
  char peek(size_t ahead = 0) const {
    return at_ + ahead < query_.size() ? query_[at_ + ahead] : ' ';
  }

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

  static bool is_blank(char c) { return g_ascii_isspace(c) || c == '\0'; }
  static bool ends_piece(char c) { return is_blank(c) || c == '(' || c == ')' || c == '"'; }

  void skip_blanks() {
    while (!at_end() && is_blank(query_[at_])) {
      ++at_;
    }
  }

  // Whether the operator comes next, behind blanks, which are skipped.
  bool is_next(std::string_view name) {
    skip_blanks();
    return query_.substr(at_, name.size()) == name && ends_piece(peek(name.size()));
  }

  // Whether something comes next that operators stand between.
  bool is_operand_next() {
    return !is_next("OR") && !is_next("AND") && !at_end() && query_[at_] != ')';
  }

  // The letters that come next with a colon behind them, unless that is a web address's; empty
  // otherwise.
  Piece field() const {
    size_t end = at_;
    while (end < query_.size() && g_ascii_isalpha(query_[end])) {
      ++end;
    }
    return peek(end - at_) == ':' && query_.substr(end, 3) != "://" ? Piece{at_, end}
                                                                    : Piece{at_, at_};
  }

  // Whether a value begins so many bytes further.
  bool is_value_next(size_t ahead) const { return !ends_piece(peek(ahead)) || peek(ahead) == '"'; }

  // All up to the next blank, parenthesis or quote.
  Piece read_piece() {
    const size_t begin = at_;
    while (!ends_piece(peek())) {
      ++at_;
    }
    return {begin, at_};
  }

  // What is between double quotes. Throws SyntaxError.
  Piece read_quoted() {
    const size_t open = at_;
    const size_t close = query_.find('"', open + 1);
    if (close == std::string_view::npos) {
      fail(open, "this quote is not closed; write a '\"' behind the phrase");
    }
    at_ = close + 1;
    return {open + 1, close};
  }

  Piece read_value() { return peek() == '"' ? read_quoted() : read_piece(); }

 private:
  const std::string_view query_;
  size_t at_ = 0;
};

}  // namespace ostren::fenra::query

#endif  // FENRA_QUERY_SCANNER_H
