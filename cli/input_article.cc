#include "cli/input_article.h"

#include <fenra/fenra.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "cli/urls.h"

namespace cli {
namespace {

using File = std::unique_ptr<FILE, Releaser<std::fclose>>;

[[noreturn]] void refuse_with_errno() {
  throw Refused{std::string("cannot read the file: ") + std::strerror(errno)};
}

// Devices and pipes are not read: they need not have an end.
std::string read_file(const std::string& path) {
  struct stat info = {};
  if (stat(path.c_str(), &info) != 0) {
    refuse_with_errno();
  }
  if (!S_ISREG(info.st_mode)) {
    throw Refused{"not a regular file"};
  }
  if (info.st_size > INT_MAX) {
    throw Refused{"the file has " + std::to_string(info.st_size) + " bytes; " +
                  std::to_string(INT_MAX) + " are the most"};
  }
  const File file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    refuse_with_errno();
  }
  std::string bytes(static_cast<size_t>(info.st_size), '\0');
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  if (std::ferror(file.get()) != 0) {
    refuse_with_errno();
  }
  return bytes;
}

// Answers are one URL a line.
void check_url(const std::string& url) {
  if (std::any_of(url.begin(), url.end(), [](char byte) { return g_ascii_iscntrl(byte); })) {
    throw Refused{"its URL '" + url +
                  "' holds a control character; give it another URL with --list"};
  }
}

// What the library would refuse by the rules "plain" without a word.
void check_text(const std::string& text) {
  const size_t zero = text.find('\0');
  if (zero != std::string::npos) {
    throw Refused{"the text holds a zero byte, at offset " + std::to_string(zero)};
  }
  const char* end = nullptr;
  if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end)) {
    throw Refused{"the text is not valid UTF-8, at offset " + std::to_string(end - text.data())};
  }
}

void insert(GHashTable* table, const char* key, const std::string& value) {
  // The table owns nothing and takes what it only reads as non-const.
  g_hash_table_insert(table, const_cast<char*>(key), const_cast<char*>(value.c_str()));
}

}  // namespace

InputArticle::InputArticle(const Input& input, const ArticledbRules& rules)
    : input_(input),
      url_(escape_bars(input.url)),
      metadata_(g_hash_table_new(g_str_hash, g_str_equal)),
      tokenizer_(nullptr, rules.tokenizer_free) {
  static const std::string language = "eu";
  check_url(url_);
  const std::string text = read_file(input.path);
  if (text.empty()) {
    throw Refused{"the file is empty"};
  }
  if (is_plain(rules)) {
    check_text(text);
  }
  bytes_ = text.size();
  // The order decides that of the pairs in the URL record.
  insert(metadata_.get(), "_url", url_);
  insert(metadata_.get(), "source", input.source);
  insert(metadata_.get(), "date", input.date);
  insert(metadata_.get(), "lang", language);
  insert(metadata_.get(), "mime", input.mime);
  char* reason = nullptr;
  tokenizer_.reset(rules.tokenizer_new_with_metadata_and_data(
      metadata_.get(), text.data(), static_cast<int>(text.size()), &reason));
  const GlibText reason_owner(reason);
  text_.reset(static_cast<char*>(g_hash_table_lookup(metadata_.get(), "_txt")));
  if (tokenizer_ == nullptr && reason != nullptr) {
    throw Refused{reason};
  }
  if (tokenizer_ == nullptr) {
    throw Refused{is_html(input.mime) ? "the HTML has no title followed by a body, no text, or a "
                                        "character reference that cannot be decoded"
                                      : "the library has refused the text"};
  }
}

}  // namespace cli
