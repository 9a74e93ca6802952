#include "bench/texts.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "text/articledb_util.h"

namespace bench {

std::vector<std::string> read_pages(const std::string& directory) {
  std::vector<std::string> pages;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.path().extension() == ".html") {
      std::ifstream file(entry.path(), std::ios::binary);
      pages.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
  }
  return pages;
}

size_t total_size(const std::vector<std::string>& texts) {
  size_t size = 0;
  for (const std::string& text : texts) {
    size += text.size();
  }
  return size;
}

std::string convert(const std::string& page) {
  std::string text(page.size(), '\0');
  int size = static_cast<int>(page.size());
  const int status = articledb_html_to_txt(page.data(), size, text.data(), &size);
  text.resize(status == 0 ? static_cast<size_t>(size) : 0);
  return text;
}

size_t count_tokens(const std::string& text) {
  const std::unique_ptr<ArticledbUtf8Tokenizer, decltype(&articledb_utf8_tokenizer_free)> tokenizer(
      articledb_utf8_tokenizer_new(text.data(), static_cast<int>(text.size())),
      articledb_utf8_tokenizer_free);
  size_t tokens = 0;
  const char* token;
  int length;
  while (articledb_utf8_tokenizer_next_token(tokenizer.get(), &token, &length) ==
         ARTICLEDB_TOKEN_OK) {
    ++tokens;
  }
  return tokens;
}

}  // namespace bench
