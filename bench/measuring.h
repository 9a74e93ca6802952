// What the measured programs share: the articles of a list, and the times of calls.
#ifndef FENRA_BENCH_MEASURING_H
#define FENRA_BENCH_MEASURING_H

#include <chrono>
#include <cstddef>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/engine.h"

namespace bench {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start);

std::ifstream open_file(const std::string& path);

// Reads the articles one at a time, so that a long list takes no more memory than a short one.
void for_each_article(const std::string& list, const std::function<void(const Article&)>& visit);

// The words of a text's part from `begin` on that have only letters from a to z, at least so many,
// and blanks around: every engine takes them for words.
std::vector<std::string> plain_words(const std::string& text, size_t begin, size_t least_length);

// Of some calls, in seconds; all 0 of none.
struct Times {
  size_t count = 0;
  double sum = 0;
  double p50 = 0;
  double p99 = 0;
  double longest = 0;

  double mean() const { return count == 0 ? 0 : sum / static_cast<double>(count); }
};

Times summary(std::vector<double> seconds);

}  // namespace bench

#endif  // FENRA_BENCH_MEASURING_H
