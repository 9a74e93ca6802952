// What a run of `index` tells its user: counts, refused inputs and, on a
// terminal, a progress bar in the last line.
#ifndef FENRA_CLI_PROGRESS_H
#define FENRA_CLI_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string>

namespace cli {

struct Counts {
  uint64_t indexed = 0;
  uint64_t refused = 0;
  uint64_t skipped = 0;  // of a type that is not indexed
  uint64_t bytes = 0;    // of the indexed inputs
};

// One line for a bar of `done` out of `total` after `seconds`, at most `width`
// columns: a bar where there is room for one, and the figures.
std::string progress_line(uint64_t done, uint64_t total, double seconds, int width);

class Progress {
 public:
  // The bar appears when standard error is a terminal.
  Progress();
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Inputs to work on; until it is set there is no bar.
  void set_total(uint64_t total) { total_ = total; }

  void indexed(uint64_t bytes);
  void skipped() { ++counts_.skipped; }
  // Reports the input on standard error, with the reason.
  void refused(const std::string& name, const std::string& reason);
  // A line on standard error.
  void note(const std::string& text);

  // Takes the bar off the terminal.
  void clear();

  const Counts& counts() const { return counts_; }

  // "indexed 5, refused 0, skipped 1, bytes 1234, seconds 0.12".
  std::string summary() const;

 private:
  using Clock = std::chrono::steady_clock;

  double seconds() const;
  void advance();

  const bool terminal_;
  const Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_at_{};
  bool drawn_ = false;
  uint64_t total_ = 0;
  uint64_t done_ = 0;
  Counts counts_;
};

}  // namespace cli

#endif  // FENRA_CLI_PROGRESS_H
