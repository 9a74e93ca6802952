// Words of the web's rules.
//
// A word is a run of letters and digits of any script, with single hyphens, apostrophes, full
// stops, underscores and at signs inside, and between digits commas, colons and slashes too:
// "etxea", "eremu-izenak", "txostena.pdf", "izena@argia.eus", "10,000". A web address goes on, up
// to its last letter or digit: behind "://", or at a slash behind a word that has a full stop or
// an at sign inside. Words are folded, see web_fold.h, and end at white space whatever stands
// there.
//
// A word with other characters inside is a compound: it is delivered as it stands, and behind
// it come its runs of letters and digits, its parts. What stands between white space has the
// same tokens wherever it stands, so all tokens of a piece that is copied from a text are found
// in the text.
#ifndef FENRA_TEXT_WEB_TOKENIZER_H
#define FENRA_TEXT_WEB_TOKENIZER_H

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::text {

class WebTokenizer {
 public:
  // Borrows `text`, in UTF-8; bytes that are not are taken for blanks. Reads it piece by piece.
  explicit WebTokenizer(std::string_view text) : text_(text), rest_(text) {}
  WebTokenizer(const WebTokenizer&) = delete;
  WebTokenizer& operator=(const WebTokenizer&) = delete;

  // Delivers the next word or part: ARTICLEDB_TOKEN_OK, or _END, and again at every later call.
  // A token has 1 to MOST_WEB_WORD_BYTES bytes, none of them zero, and is valid until the next
  // call. It is a word that has itself for its only word. All calls together take time linear in
  // the text.
  int next(const char** token, int* length);

  // Whether the token delivered last is a part of the word before it.
  bool is_part() const { return is_part_; }

  // The bytes of the text from `begin` up to, not including, `end`.
  struct Place {
    size_t begin;
    size_t end;
  };

  // Where the token delivered last stands, with the marks behind it. The first call for a piece of
  // the text folds it again.
  Place place();

 private:
  bool find_word();
  bool find_part();

  const std::string_view text_;
  std::string_view rest_;   // not folded yet
  std::string_view piece_;  // what was folded last
  std::string folded_;      // whole words, a blank at the end
  // For each byte of folded_ the place in piece_ of the character that it is from; empty until
  // somebody asks.
  std::vector<guint32> places_;
  const char* next_ = nullptr;  // in folded_; null before the first piece
  const char* part_ = nullptr;  // where the parts go on of the word that ends at next_
  std::string_view token_;
  bool is_part_ = false;
};

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_TOKENIZER_H
