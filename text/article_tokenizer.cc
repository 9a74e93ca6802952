// The tokenizer over an article's data, by its MIME type.
#include <glib.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "base/handles.h"
#include "text/articledb_util.h"
#include "text/utf8.h"

using namespace ostren::fenra;
using ostren::fenra::text::first_invalid_utf8;
using ostren::fenra::text::is_valid_utf8;

namespace {
// The text of an article, zero-terminated.
struct PlainText {
  GMemory<char> bytes;
  int length = 0;
};

bool take_plain_text(const char* data, int length, PlainText* text) {
  const size_t valid = first_invalid_utf8({data, static_cast<size_t>(length)});
  if (valid != static_cast<size_t>(length)) {
    fprintf(stderr, "UTF-8 baliogabea %zu. bytean: fitxategia ezin da indexatu.\n", valid);
    return false;
  }
  text->bytes.reset(static_cast<char*>(g_try_malloc0(static_cast<gsize>(length) + 1)));
  if (text->bytes == nullptr) {
    return false;
  }
  memcpy(text->bytes.get(), data, static_cast<size_t>(length));
  text->length = length;
  return true;
}

// The conversion refuses a page that is not valid UTF-8, but the text of a valid
// one can be something else: numeric references reach beyond Unicode's end.
bool convert_html(const char* data, int length, PlainText* text) {
  text->bytes.reset(static_cast<char*>(g_try_malloc0(static_cast<gsize>(length))));
  text->length = length;
  return text->bytes != nullptr &&
         articledb_html_to_txt(data, length, text->bytes.get(), &text->length) == 0 &&
         is_valid_utf8(text->bytes.get(), text->length);
}

bool has_mime(const char* mime, const char* type) {
  return g_ascii_strncasecmp(mime, type, strlen(type)) == 0;
}

bool extract_text(const char* mime, const char* data, int length, PlainText* text) {
  const bool plain = has_mime(mime, "text/plain");
  if (!plain && !has_mime(mime, "text/html")) {
    fprintf(stderr, "%s tokenizatzailea inplementatu gabe.\n", mime);
    return false;
  }
  const bool empty = data == nullptr || length <= 0;
  if (!empty && !(plain ? take_plain_text(data, length, text) : convert_html(data, length, text))) {
    return false;
  }
  if (text->length == 0) {
    fputs("Testurik gabeko fitxategia ezin da indexatu.\n", stderr);
    return false;
  }
  return true;
}

void insert(GHashTable* metadata, const char* key, gpointer value) {
  g_hash_table_insert(metadata, const_cast<char*>(key), value);
}

}  // namespace

ArticledbUtf8Tokenizer* articledb_utf8_tokenizer_new_with_metadata_and_data(GHashTable* metadata,
                                                                            const char* data,
                                                                            int length) {
  const auto* mime = static_cast<const char*>(g_hash_table_lookup(metadata, "mime"));
  if (mime == nullptr) {
    fputs("Mime ezezaguna duen fitxategia ezin da indexatu.\n", stderr);
    return nullptr;
  }
  PlainText text;
  if (!extract_text(mime, data, length, &text)) {
    return nullptr;
  }
  char* txt = text.bytes.release();
  insert(metadata, "_txt", txt);
  insert(metadata, "_length", GUINT_TO_POINTER(length));
  return articledb_utf8_tokenizer_new(txt, text.length);
}
