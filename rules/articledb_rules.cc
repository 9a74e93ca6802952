#undef NDEBUG
#include "rules/articledb_rules.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "lexicon/web_lemmatizer.h"
#include "text/web_page.h"
#include "text/web_tokenizer.h"

namespace {

using ostren::fenra::text::web_page_to_text;
using ostren::fenra::text::WebTokenizer;

// ---- plain ----

// The reason goes to standard error, or is known by the type.
void* open_plain(GHashTable* metadata, const char* data, int length, char** reason) {
  *reason = nullptr;
  return articledb_utf8_tokenizer_new_with_metadata_and_data(metadata, data, length);
}

void* new_plain(const char* text, int length) { return articledb_utf8_tokenizer_new(text, length); }

void free_plain(void* tokenizer) {
  articledb_utf8_tokenizer_free(static_cast<ArticledbUtf8Tokenizer*>(tokenizer));
}

int is_never_part(const void*) { return 0; }

// A token is a part of the text.
int plain_place(void*, const char* text, const char* token, int length, guint32* begin,
                guint32* end) {
  *begin = static_cast<guint32>(token - text);
  *end = *begin + static_cast<guint32>(length);
  return 1;
}

// ---- web ----

void* new_web(const char* text, int length) {
  auto* const tokenizer =
      new (std::nothrow) WebTokenizer({text, static_cast<size_t>(std::max(length, 0))});
  assert(tokenizer);
  return tokenizer;
}

void free_web(void* tokenizer) { delete static_cast<WebTokenizer*>(tokenizer); }

int next_web(void* tokenizer, const char** token, int* length) {
  try {
    return static_cast<WebTokenizer*>(tokenizer)->next(token, length);
  } catch (const std::exception&) {
    return ARTICLEDB_TOKEN_ERROR;
  }
}

int is_web_part(const void* tokenizer) {
  return static_cast<const WebTokenizer*>(tokenizer)->is_part() ? 1 : 0;
}

int web_place(void* tokenizer, const char*, const char*, int, guint32* begin, guint32* end) {
  try {
    const WebTokenizer::Place place = static_cast<WebTokenizer*>(tokenizer)->place();
    *begin = static_cast<guint32>(place.begin);
    *end = static_cast<guint32>(place.end);
    return 1;
  } catch (const std::exception&) {
    return 0;
  }
}

// The text of a page, zero-terminated; null, and the reason, when it is refused.
char* text_of_page(std::string_view page, const char* mime, int* length, std::string* reason) {
  std::string text;
  if (!web_page_to_text(page, mime, &text, reason)) {
    return nullptr;
  }
  if (text.empty() || text.size() > INT_MAX) {
    *reason = text.empty() ? "it has no text" : "its text is longer than 2 GiB";
    return nullptr;
  }
  auto* const bytes = static_cast<char*>(g_try_malloc(text.size() + 1));
  if (bytes == nullptr) {
    throw std::bad_alloc();
  }
  memcpy(bytes, text.c_str(), text.size() + 1);
  *length = static_cast<int>(text.size());
  return bytes;
}

void* open_web(GHashTable* metadata, const char* data, int length, char** reason) {
  const auto* mime = static_cast<const char*>(g_hash_table_lookup(metadata, "mime"));
  char* text = nullptr;
  int text_length = 0;
  std::string refusal = "it is empty";
  try {
    if (data != nullptr && length > 0) {
      text = text_of_page({data, static_cast<size_t>(length)}, mime, &text_length, &refusal);
    }
  } catch (const std::exception&) {
    refusal = "memory is short";
  }
  *reason = text == nullptr ? g_strdup(refusal.c_str()) : nullptr;
  if (text == nullptr) {
    return nullptr;
  }
  g_hash_table_insert(metadata, const_cast<char*>("_txt"), text);
  g_hash_table_insert(metadata, const_cast<char*>("_length"), GUINT_TO_POINTER(length));
  return new_web(text, text_length);
}

constexpr ArticledbRules RULES[] = {
    {ARTICLEDB_RULES_PLAIN, open_plain, new_plain, free_plain, articledb_utf8_tokenizer_next_token,
     is_never_part, articledb_simple_fst_lemmatizer_first_lemma, plain_place},
    {ARTICLEDB_RULES_WEB, open_web, new_web, free_web, next_web, is_web_part,
     articledb_web_lemmatizer_first_lemma, web_place},
};

}  // namespace

const ArticledbRules* articledb_rules_by_name(const char* name) {
  for (const ArticledbRules& rules : RULES) {
    if (name != nullptr && strcmp(rules.name, name) == 0) {
      return &rules;
    }
  }
  return nullptr;
}
