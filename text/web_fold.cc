#include "text/web_fold.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace ostren::fenra::text {
namespace {

constexpr char BLANK = ' ';

// Unicode's longest compatibility decomposition, of U+FDFA.
constexpr size_t MOST_DECOMPOSED = 18;
constexpr size_t MOST_FOLDED_BYTES = MOST_DECOMPOSED * 4;

// Characters up to here, Latin with all that is put on it, are folded by a table.
constexpr gunichar FIRST_UNTABLED = 0x250;

constexpr gunichar ZERO_WIDTH_SPACE = 0x200B;
constexpr gunichar FULL_WIDTH_EXCLAMATION_MARK = 0xFF01;
constexpr gunichar FULL_WIDTH_TILDE = 0xFF5E;

char fold_ascii(unsigned char c) {
  return c <= ' ' || c == 0x7F ? BLANK : g_ascii_tolower(static_cast<char>(c));
}

bool is_letter_or_digit(GUnicodeType type) {
  switch (type) {
    case G_UNICODE_LOWERCASE_LETTER:
    case G_UNICODE_MODIFIER_LETTER:
    case G_UNICODE_OTHER_LETTER:
    case G_UNICODE_TITLECASE_LETTER:
    case G_UNICODE_UPPERCASE_LETTER:
    case G_UNICODE_DECIMAL_NUMBER:
    case G_UNICODE_LETTER_NUMBER:
    case G_UNICODE_OTHER_NUMBER:
      return true;
    default:
      return false;
  }
}

bool is_dropped(GUnicodeType type) {
  return type == G_UNICODE_NON_SPACING_MARK || type == G_UNICODE_SPACING_MARK ||
         type == G_UNICODE_ENCLOSING_MARK || type == G_UNICODE_FORMAT;
}

// What stands for an ASCII character; 0 for a character that does not.
char ascii_form(gunichar c) {
  switch (c) {
    case 0x2019:  // right single quotation mark
    case 0x02BC:  // modifier letter apostrophe
      return '\'';
    case 0x2010:  // hyphen
    case 0x2011:  // non-breaking hyphen
      return '-';
    default:
      return FULL_WIDTH_EXCLAMATION_MARK <= c && c <= FULL_WIDTH_TILDE
                 ? fold_ascii(static_cast<unsigned char>(c - FULL_WIDTH_EXCLAMATION_MARK + '!'))
                 : '\0';
  }
}

// Through the capital, so that the small letters of one capital are one: that of the final
// sigma, the long s, the dotless i.
gunichar lower_case(gunichar c) { return g_unichar_tolower(g_unichar_toupper(c)); }

// Writes the folded form of a letter or digit; returns its bytes, 0 for one that is all marks.
size_t fold_word_character(gunichar c, char* output) {
  gunichar decomposed[MOST_DECOMPOSED];
  const gsize count = g_unichar_fully_decompose(c, TRUE, decomposed, MOST_DECOMPOSED);
  size_t bytes = 0;
  for (gsize i = 0; i < count; ++i) {
    const char ascii = ascii_form(decomposed[i]);
    if (ascii != '\0') {
      output[bytes++] = ascii;
    } else if (is_letter_or_digit(g_unichar_type(decomposed[i]))) {
      bytes += static_cast<size_t>(g_unichar_to_utf8(lower_case(decomposed[i]), output + bytes));
    }
  }
  return bytes;
}

// Writes the folded form of a character that is not ASCII, of MOST_FOLDED_BYTES at most.
size_t fold_character(gunichar c, char* output) {
  const char ascii = ascii_form(c);
  if (ascii != '\0') {
    *output = ascii;
    return 1;
  }
  const GUnicodeType type = g_unichar_type(c);
  if (is_letter_or_digit(type)) {
    return fold_word_character(c, output);
  }
  if (is_dropped(type) && c != ZERO_WIDTH_SPACE) {
    return 0;
  }
  *output = BLANK;
  return 1;
}

// The folded forms of what is met most often.
class Table {
 public:
  Table() {
    for (size_t c = 0; c < ascii_.size(); ++c) {
      ascii_[c] = fold_ascii(static_cast<unsigned char>(c));
    }
    entries_[0] = {1, {BLANK}};
    for (gunichar c = 0x80; c < FIRST_UNTABLED; ++c) {
      char folded[MOST_FOLDED_BYTES];
      Entry& entry = entries_[c];
      entry.length = static_cast<uint8_t>(fold_character(c, folded));
      memcpy(entry.bytes, folded, entry.length);
    }
  }

  char ascii(unsigned char c) const { return ascii_[c]; }

  size_t fold(gunichar c, char* output) const {
    if (c >= FIRST_UNTABLED) {
      return fold_character(c, output);
    }
    memcpy(output, entries_[c].bytes, sizeof entries_[c].bytes);
    return entries_[c].length;
  }

 private:
  struct Entry {
    uint8_t length = 0;
    char bytes[7] = {};  // the longest are three letters, as of U+00BD
  };

  std::array<char, 0x80> ascii_ = {};
  std::array<Entry, FIRST_UNTABLED> entries_;
};

const Table& table() {
  static const Table filled;
  return filled;
}

// The character at `*next`, behind which that is moved; 0, a blank's like, for a byte that is not
// UTF-8.
gunichar decode(const char** next, const char* end) {
  const gunichar c = g_utf8_get_char_validated(*next, end - *next);
  if (c > 0x10FFFF) {
    ++*next;
    return 0;
  }
  *next = g_utf8_next_char(*next);
  return c;
}

// Folded text as it is written. It has room for a character whenever one is added.
class Output {
 public:
  explicit Output(std::string* folded) : folded_(folded), size_(folded->size()) { grow(); }

  // Adds what `fold(room)` writes and gives the length of. Returns whether it is a blank.
  template <typename Fold>
  bool add(Fold fold) {
    char* const room = folded_->data() + size_;
    const size_t bytes = fold(room);
    const bool blank = bytes == 1 && *room == BLANK;
    run_ = blank ? 0 : run_ + bytes;
    if (run_ > MOST_WEB_WORD_BYTES) {
      memmove(room + 1, room, bytes);
      *room = BLANK;
      ++size_;
      run_ = bytes;
    }
    size_ += bytes;
    if (size_ + MOST_FOLDED_BYTES + 1 > folded_->size()) {
      grow();
    }
    return blank;
  }

  size_t size() const { return size_; }

  void finish() {
    folded_->resize(size_);
    folded_->push_back(BLANK);
  }

 private:
  void grow() { folded_->resize(2 * size_ + 4096); }

  std::string* const folded_;
  size_t size_;
  size_t run_ = 0;  // bytes since the last blank
};

// fold_for_web. Calls `note(place, size)` behind each character, with its place in the text and
// the bytes that are folded so far.
template <typename Note>
size_t fold(std::string_view text, size_t least, std::string* folded, Note note) {
  const Table& forms = table();
  const char* next = text.data();
  const char* const end = next + text.size();
  const char* const enough = next + std::min(least, text.size());
  Output output(folded);
  bool blank = false;
  while (next != end && !(blank && next >= enough)) {
    const auto place = static_cast<size_t>(next - text.data());
    blank = output.add([&](char* room) -> size_t {
      const auto byte = static_cast<unsigned char>(*next);
      if (byte >= 0x80) {
        return forms.fold(decode(&next, end), room);
      }
      ++next;
      *room = forms.ascii(byte);
      return 1;
    });
    note(place, output.size());
  }
  output.finish();
  return static_cast<size_t>(next - text.data());
}

}  // namespace

size_t fold_for_web(std::string_view text, size_t least, std::string* folded) {
  return fold(text, least, folded, [](size_t, size_t) {});
}

std::vector<guint32> web_fold_places(std::string_view text) {
  std::vector<guint32> places;
  places.reserve(text.size() + 1);
  std::string folded;
  fold(text, text.size(), &folded,
       [&](size_t place, size_t size) { places.resize(size, static_cast<guint32>(place)); });
  places.push_back(static_cast<guint32>(text.size()));
  return places;
}

}  // namespace ostren::fenra::text
