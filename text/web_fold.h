// Folding of text for the web's rules of words: capitals, marks and ways of writing a character
// make no difference to a word.
#ifndef FENRA_TEXT_WEB_FOLD_H
#define FENRA_TEXT_WEB_FOLD_H

#include <glib.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ostren::fenra::text {

// A run of folded bytes without a blank is never longer than this: a blank is put in.
constexpr size_t MOST_WEB_WORD_BYTES = size_t{16} << 20;

// Appends the folded form of the beginning of `text` to `folded`: all of it, or `least` bytes
// and more up to a place where words end, and a blank. Returns how many bytes of the text that
// is. What is appended are
// - letters and digits of any script in compatibility decomposition, without marks, in lower
//   case: every byte above 0x7F belongs to one,
// - ASCII punctuation as it stands, with the apostrophe and the hyphen for their other forms,
// - blanks for everything else, as white space, symbols, zero bytes and bytes that are not UTF-8.
// Marks, the soft hyphen and other characters that only direct the layout leave nothing.
// Folding what is folded changes nothing. Takes time linear in `text`.
size_t fold_for_web(std::string_view text, size_t least, std::string* folded);

// For each byte that fold_for_web appends for the text as a whole, where in the text the character
// begins that it is from; for the blank at the end the text's length.
std::vector<guint32> web_fold_places(std::string_view text);

}  // namespace ostren::fenra::text

#endif  // FENRA_TEXT_WEB_FOLD_H
