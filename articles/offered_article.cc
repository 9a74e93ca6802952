#include "articles/offered_article.h"

#include <algorithm>
#include <climits>

#include "articles/urls.h"
#include "text/utf8.h"

namespace ostren::fenra::articles {
namespace {

constexpr size_t kDateDigits = 8;

void check_metadata(const Offer& offer) {
  // Answers are one URL a line.
  if (std::any_of(offer.url.begin(), offer.url.end(),
                  [](char byte) { return g_ascii_iscntrl(byte); })) {
    throw Refused{"its URL '" + offer.url + "' holds a control character; give it another URL"};
  }
  if (offer.url.empty()) {
    throw Refused{"its URL is empty; give it one"};
  }
  if (!offer.date.empty() && (offer.date.size() != kDateDigits ||
                              !std::all_of(offer.date.begin(), offer.date.end(),
                                           [](char byte) { return g_ascii_isdigit(byte); }))) {
    throw Refused{"the date '" + offer.date + "' is not 8 digits, as 20090315"};
  }
}

void check_data(std::string_view data, const ArticledbRules& rules) {
  if (data.empty()) {
    throw Refused{"the text is empty"};
  }
  if (data.size() > INT_MAX) {
    throw Refused{"the text has " + std::to_string(data.size()) + " bytes; " +
                  std::to_string(INT_MAX) + " are the most"};
  }
  if (!is_plain(rules)) {
    return;
  }
  // What the library would refuse without a word.
  const size_t zero = data.find('\0');
  if (zero != std::string_view::npos) {
    throw Refused{"the text holds a zero byte, at offset " + std::to_string(zero)};
  }
  const size_t invalid = text::first_invalid_utf8(data);
  if (invalid != data.size()) {
    throw Refused{"the text is not valid UTF-8, at offset " + std::to_string(invalid)};
  }
}

// Where the library tells none.
std::string reason_not_to_read(const std::string& mime) {
  constexpr char kHtml[] = "text/html";
  if (g_ascii_strncasecmp(mime.c_str(), kHtml, sizeof(kHtml) - 1) == 0) {
    return "the HTML has no title followed by a body, no text, or a character reference that "
           "cannot be decoded";
  }
  return "as '" + mime + "' the library cannot read it; text/plain and text/html are known";
}

void insert(GHashTable* table, const char* key, const std::string& value) {
  // The table owns nothing and takes what it only reads as non-const.
  g_hash_table_insert(table, const_cast<char*>(key), const_cast<char*>(value.c_str()));
}

}  // namespace

OfferedArticle::OfferedArticle(const Offer& offer, const ArticledbRules& rules)
    : url_(escape_bars(offer.url)),
      metadata_(g_hash_table_new(g_str_hash, g_str_equal)),
      tokenizer_(nullptr, rules.tokenizer_free) {
  static const std::string language = "eu";
  check_metadata(offer);
  check_data(offer.data, rules);
  // The order decides that of the pairs in the URL record.
  insert(metadata_.get(), "_url", url_);
  insert(metadata_.get(), "source", offer.source);
  insert(metadata_.get(), "date", offer.date);
  insert(metadata_.get(), "lang", language);
  insert(metadata_.get(), "mime", offer.mime);
  char* reason = nullptr;
  tokenizer_.reset(rules.tokenizer_new_with_metadata_and_data(
      metadata_.get(), offer.data.data(), static_cast<int>(offer.data.size()), &reason));
  const GlibText reason_owner(reason);
  text_.reset(static_cast<char*>(g_hash_table_lookup(metadata_.get(), "_txt")));
  if (tokenizer_ == nullptr) {
    throw Refused{reason != nullptr ? reason : reason_not_to_read(offer.mime)};
  }
}

}  // namespace ostren::fenra::articles
