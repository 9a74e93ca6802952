#include "bench/grow.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <vector>

#include "bench/measuring.h"

namespace bench {
namespace {

constexpr size_t kAnswers = 10;
constexpr size_t kLeastLength = 3;
constexpr uint32_t kSeed = 20090315;

// What the process has used so far.
struct Use {
  uint64_t bytes_written;
  double cpu_seconds;
};

uint64_t bytes_written() {
  std::ifstream counters = open_file("/proc/self/io");
  std::string name;
  uint64_t value = 0;
  while (counters >> name >> value) {
    if (name == "write_bytes:") {
      return value;
    }
  }
  throw std::runtime_error("/proc/self/io has no write_bytes: the kernel does not count them");
}

double seconds_of(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

Use use_so_far() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return {bytes_written(), seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime)};
}

// Prints what was used since, and ends the line.
Use print_use_since(const Use& before) {
  const Use now = use_so_far();
  std::printf(" %llu %.6f\n",
              static_cast<unsigned long long>(now.bytes_written - before.bytes_written),
              now.cpu_seconds - before.cpu_seconds);
  std::fflush(stdout);
  return now;
}

void print_times(const Times& times) {
  std::printf(" %.9f %.9f %.9f %.9f", times.mean(), times.p50, times.p99, times.longest);
}

class Growth {
 public:
  Growth(std::unique_ptr<Engine> engine, size_t every, size_t step)
      : engine_(std::move(engine)), every_(every), step_(step), used_(use_so_far()) {}

  void add(const Article& article) {
    const Clock::time_point start = Clock::now();
    engine_->add(article);
    engine_->commit();
    adding_.push_back(seconds_since(start));
    ++articles_;
    if (every_ != 0 && articles_ % every_ == 0) {
      ask_for(article);
    }
    if (adding_.size() == step_) {
      end_step();
    }
  }

  void close() {
    if (!adding_.empty()) {
      end_step();
    }
    const Clock::time_point start = Clock::now();
    engine_.reset();
    std::printf("%.9f", seconds_since(start));
    print_use_since(used_);
  }

 private:
  // Two words of the article that differ, each as likely as it is frequent; none where there are
  // no two.
  std::vector<std::string> draw_words(const Article& article) {
    std::vector<std::string> words = plain_words(article.text, 0, kLeastLength);
    if (words.empty()) {
      return {};
    }
    const std::string first = words[random_() % words.size()];
    words.erase(std::remove(words.begin(), words.end(), first), words.end());
    if (words.empty()) {
      return {};
    }
    return {first, words[random_() % words.size()]};
  }

  // Answers come in the order of storing, so the article is the last where all are pulled.
  void ask_for(const Article& article) {
    Query query;
    query.words = draw_words(article);
    query.most_answers = kAnswers;
    if (query.words.empty()) {
      return;
    }
    std::vector<std::string> urls;
    const Clock::time_point start = Clock::now();
    engine_->search(query, [&](const char* url, size_t length) { urls.emplace_back(url, length); });
    asking_.push_back(seconds_since(start));
    if (urls.size() < kAnswers && (urls.empty() || urls.back() != article.url)) {
      throw std::runtime_error("not found by \"" + query.words[0] + " " + query.words[1] +
                               "\": " + article.url);
    }
  }

  void end_step() {
    const Times adding = summary(std::move(adding_));
    const Times asking = summary(std::move(asking_));
    adding_.clear();
    asking_.clear();
    std::printf("%zu %.9f", articles_, adding.sum + asking.sum);
    print_times(adding);
    std::printf(" %zu", asking.count);
    print_times(asking);
    used_ = print_use_since(used_);
  }

  std::unique_ptr<Engine> engine_;
  const size_t every_;
  const size_t step_;
  size_t articles_ = 0;
  std::vector<double> adding_;  // of this step
  std::vector<double> asking_;
  std::mt19937 random_{kSeed};
  Use used_;  // before this step
};

}  // namespace

void grow(std::unique_ptr<Engine> engine, const std::string& list, size_t every, size_t step) {
  Growth growth(std::move(engine), every, step);
  for_each_article(list, [&](const Article& article) { growth.add(article); });
  growth.close();
}

}  // namespace bench
