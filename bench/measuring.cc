#include "bench/measuring.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace bench {
namespace {

double percentile(const std::vector<double>& sorted, double share) {
  return sorted[static_cast<size_t>(share * static_cast<double>(sorted.size() - 1) + 0.5)];
}

}  // namespace

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::ifstream open_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  return file;
}

void for_each_article(const std::string& list, const std::function<void(const Article&)>& visit) {
  std::ifstream lines = open_file(list);
  std::string line;
  while (std::getline(lines, line)) {
    std::istringstream fields(line);
    Article article;
    std::string path;
    for (std::string* field : {&article.url, &article.mime, &path, &article.date}) {
      std::getline(fields, *field, '\t');
    }
    std::getline(fields, article.source);
    std::ifstream file = open_file(path);
    article.text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    visit(article);
  }
}

std::vector<std::string> plain_words(const std::string& text, size_t begin, size_t least_length) {
  std::vector<std::string> words;
  std::istringstream rest(text.substr(std::min(begin, text.size())));
  for (std::string word; rest >> word;) {
    const bool plain = std::all_of(word.begin(), word.end(),
                                   [](char letter) { return letter >= 'a' && letter <= 'z'; });
    if (plain && word.size() >= least_length) {
      words.push_back(word);
    }
  }
  return words;
}

Times summary(std::vector<double> seconds) {
  if (seconds.empty()) {
    return {};
  }
  std::sort(seconds.begin(), seconds.end());
  return {seconds.size(), std::accumulate(seconds.begin(), seconds.end(), 0.0),
          percentile(seconds, 0.5), percentile(seconds, 0.99), seconds.back()};
}

}  // namespace bench
