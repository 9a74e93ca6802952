// Text analysis: regular-expression rewriting, HTML to text, the word tokenizer
// and the word-trigram builder. Nothing here knows of the store.
//
// Lengths, offsets and capacities are int and count bytes.
#ifndef FENRA_ARTICLEDB_UTIL_H
#define FENRA_ARTICLEDB_UTIL_H

#include <fenra/export.h>
#include <glib.h>
#include <pcre.h>

FENRA_BEGIN_DECLS

// ---- regular-expression rewriting ----
//
// The rewriting operations read a subject (UTF-8, not necessarily
// zero-terminated; null is allowed where its length is 0) and write into a buffer
// of the caller's that must not overlap it. `*capacity` is the buffer's size on
// entry and the number of bytes written on success; it is left alone on failure. A
// result is at most capacity - 1 bytes long and never zero-terminated. They
// allocate nothing. No match is ever empty.

// Status of the rewriting operations.
enum {
  ARTICLEDB_REGEX_OK = 0,
  // The result does not fit, a search ended in an error, the replacement function
  // failed, a length is negative, or the subject is not valid UTF-8. A search that
  // needs more recursion than the calling thread's stack has room for ends in an
  // error, and so does a match that ends before it starts or where its search began
  // (a "\K" in an assertion can do that).
  ARTICLEDB_REGEX_FAILED = 1,
  // articledb_regex_extract only: the first match did not set exactly one group.
  ARTICLEDB_REGEX_BAD_GROUPS = 2
};

// Ints in the offsets vector that a replacement function receives.
enum { ARTICLEDB_REGEX_OFFSETS = 60 };

// Compiles a zero-terminated pattern, caseless, with "." matching line feeds, as
// UTF-8. The caller releases it with articledb_regex_free. Null, and no message,
// when it does not compile.
FENRA_API pcre* articledb_regex_new(const char* pattern);
FENRA_API void articledb_regex_free(pcre* regex);

// Concatenates capture group 1 of every match, with `separator` between the
// pieces. Each search goes on at the end of group 1, or at the end of the match
// where group 1 does not advance; a later match that does not set group 1 adds
// nothing. A first search without a match, or ended by any error, gives an empty
// result, which fits any capacity, 0 and a negative one too. Returns
// ARTICLEDB_REGEX_OK, _FAILED or _BAD_GROUPS.
FENRA_API int articledb_regex_extract(const pcre* regex, const char* subject, int subject_length,
                                      const char* separator, int separator_length, char* output,
                                      int* capacity);

// Replaces every match by `replacement`. Returns ARTICLEDB_REGEX_OK or _FAILED.
FENRA_API int articledb_regex_sub(const pcre* regex, const char* subject, int subject_length,
                                  const char* replacement, int replacement_length, char* output,
                                  int* capacity);

// Writes the replacement of one match to `output`, at most `space` (>= 1) bytes,
// and returns their number; a negative number, or one above `space`, is a
// failure. `offsets` holds the byte offsets of the match (pair 0) and of its
// groups in the whole subject; `offsets_size` is always ARTICLEDB_REGEX_OFFSETS.
typedef int (*ArticledbRegexReplacer)(const char* subject, int subject_length, int* offsets,
                                      int offsets_size, char* output, int space);

// Replaces every match by what `replacer` writes for it. Returns
// ARTICLEDB_REGEX_OK or _FAILED.
FENRA_API int articledb_regex_sub_with_function(const pcre* regex, const char* subject,
                                                int subject_length, ArticledbRegexReplacer replacer,
                                                char* output, int* capacity);

// ---- HTML to text ----

// Converts an HTML page (UTF-8) to its title, a blank line and the text between
// the tags of its body, with runs of whitespace collapsed and numeric character
// references decoded. `*capacity` is the size of `output` on entry and the
// text's length on success; the text is at most capacity - 1 bytes long and not
// zero-terminated. Returns 0, or nonzero when there is no title followed by a
// body, there is nothing to delete (script, comment, closing p or br tag), a
// numeric reference cannot be decoded, the page is not valid UTF-8, memory is
// short or the text does not fit; then `output` and `*capacity` are as they were.
// Numeric references above U+10FFFF give bytes that are not UTF-8, and "&#0;" a
// zero byte.
// Time is linear in `length`. The first call in a process compiles the patterns
// and must not overlap with another.
FENRA_API int articledb_html_to_txt(const char* html, int length, char* output, int* capacity);

// ---- tokenizer ----

// Results of a token source.
enum { ARTICLEDB_TOKEN_ERROR = -1, ARTICLEDB_TOKEN_OK = 1, ARTICLEDB_TOKEN_END = 2 };

// A token source: _OK and a token that the caller of the source is done with at its next call,
// _END at the end, any other value for a failure, which articledb_db_index returns as it is.
typedef int (*ArticledbNextTokenFunc)(void* tokenizer, const char** token, int* length);

typedef struct ArticledbUtf8Tokenizer {
  const char* text;  // the rest of the text, borrowed
  int length;        // bytes in the rest
  // Private.
  int valid;   // whether the text is valid UTF-8
  int behind;  // bytes before `text` that a search looks back at, 0 or 1
} ArticledbUtf8Tokenizer;

// A tokenizer over `text`, which is borrowed and must outlive it. Never null.
// Over text that is not valid UTF-8, of negative length, or null with a length
// other than 0, every read gives ARTICLEDB_TOKEN_ERROR. The first call in a process
// compiles the word pattern and must not overlap with another.
FENRA_API ArticledbUtf8Tokenizer* articledb_utf8_tokenizer_new(const char* text, int length);

// Delivers the next word token: a run of ASCII letters, digits, underscores and
// hyphens. Runs that hold a full stop between two such characters (web
// addresses, file names, decimal numbers) are skipped whole. `*token` points
// into the text and is not zero-terminated. Returns ARTICLEDB_TOKEN_OK, _END (and
// again at every later call) or _ERROR, which leaves the tokenizer where the failed
// search began. All reads together take time linear in the text.
// `tokenizer` is an ArticledbUtf8Tokenizer*; the untyped pointer makes the
// function a token source.
FENRA_API int articledb_utf8_tokenizer_next_token(void* tokenizer, const char** token, int* length);

// Releases the tokenizer, not its text. Null is allowed.
FENRA_API void articledb_utf8_tokenizer_free(ArticledbUtf8Tokenizer* tokenizer);

// A tokenizer over an article's data, by the MIME type under "mime": "text/plain"
// as it is, "text/html" converted. Adds "_txt", the zero-terminated plain text,
// which the caller releases with g_free after the tokenizer, and "_length", the
// data's length held in the value slot, to the table. Null, the table unchanged,
// when the type is missing or another one (with a message on standard error), the
// text is empty or not valid UTF-8, or the HTML cannot be converted.
FENRA_API ArticledbUtf8Tokenizer* articledb_utf8_tokenizer_new_with_metadata_and_data(
    GHashTable* metadata, const char* data, int length);

// ---- trigram builder ----

enum {
  TRIGRAM_BUILDER_WORDS = 3,
  TRIGRAM_BUILDER_WORD_SIZE = 64,     // a word of 1 to 63 bytes and its zero byte
  TRIGRAM_BUILDER_TRIGRAM_SIZE = 192  // the longest trigram, zero bytes included
};

// A ring of the last three words. Lives in its user's own storage; there is
// nothing to release.
typedef struct TrigramBuilder {
  // Zero-terminated words; a slot whose first byte is 0 is empty.
  char words[TRIGRAM_BUILDER_WORDS][TRIGRAM_BUILDER_WORD_SIZE];
  char trigram[TRIGRAM_BUILDER_TRIGRAM_SIZE];  // the trigram built last
  int next;  // slot of the next word, which is also that of the oldest
} TrigramBuilder;

// Empties the builder.
FENRA_API void trigram_builder_init(TrigramBuilder* builder);

// Takes the next word (1 to 63 bytes without a zero byte). Returns 1 and sets
// the out values when three words in a row have been seen: the oldest word, a
// zero byte, the middle word, a zero byte, the newest word, a zero byte. They
// point into the builder until its next call. Returns 0 and leaves the out
// values alone otherwise; a word of any other length empties the builder.
FENRA_API int trigram_builder_next_trigram(TrigramBuilder* builder, const char* word, int length,
                                           const char** trigram, int* trigram_length);

FENRA_END_DECLS

#endif  // FENRA_ARTICLEDB_UTIL_H
