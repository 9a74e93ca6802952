// What a run of `index` tells its user: counts, refused inputs and, on a
// terminal, a progress bar in the last line.
#ifndef FENRA_CLI_PROGRESS_H
#define FENRA_CLI_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/failure.h"

namespace cli {

struct Counts {
  uint64_t indexed = 0;
  uint64_t refused = 0;
  uint64_t skipped = 0;  // of a type that is not indexed
  uint64_t bytes = 0;    // of the indexed inputs
  // Nothing when the run does not look for them.
  std::optional<uint64_t> unchanged;  // stored already as they are
  std::optional<uint64_t> deleted;    // articles
};

// One line for a bar of `done` out of `total` after `seconds`, at most `width`
// columns: a bar where there is room for one, and the figures.
std::string progress_line(uint64_t done, uint64_t total, double seconds, int width);

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// The last line of the terminal on standard error, redrawn now and then.
// Where standard error is no terminal, and with --quiet, nothing is shown.
class StatusLine {
 public:
  StatusLine();
  ~StatusLine() { clear(); }
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  // Shows what `text`, given the columns there are, returns; most calls come too soon
  // after the last drawing and do nothing.
  template <typename Text>
  void show(Text text) {
    if (due()) {
      draw(text(columns()));
    }
  }

  // Takes the line off the terminal.
  void clear();

 private:
  using Clock = std::chrono::steady_clock;

  bool due() const;
  static int columns();
  void draw(const std::string& text);

  const bool terminal_;
  Clock::time_point drawn_at_{};
  bool drawn_ = false;
};

class Progress {
 public:
  // `json`: the summary is a JSON object.
  explicit Progress(bool json = false) : json_(json) {}

  // Inputs to work on; 0 when that is not known, and there is no bar, as until it is set.
  void set_total(uint64_t total) {
    total_ = total;
    started_ = true;
  }
  bool started() const { return started_; }

  void indexed(uint64_t bytes);
  // From now on the summary has them.
  void count_unchanged() { counts_.unchanged = 0; }
  void count_deleted() { counts_.deleted = 0; }
  void unchanged();
  void deleted() { ++*counts_.deleted; }
  void skipped() { ++counts_.skipped; }
  // Sums them up by the reason, a few words, at the end.
  void skipped(const std::string& reason);
  // Moves on without counting anything.
  void passed_over() { advance(); }
  // Reports the input on standard error, with the reason.
  void refused(const std::string& name, const std::string& reason);
  // Reports likewise an input of `bytes` that was indexed, and is stored no longer.
  void displaced(const std::string& name, uint64_t bytes, const std::string& reason);
  // What has been indexed so far is not stored after all.
  void nothing_stored() { counts_.indexed = counts_.bytes = 0; }
  // Work of another kind, in place of the bar.
  void working(const std::string& name, uint64_t done, uint64_t total);
  // A line on standard error.
  void note(const std::string& text);

  // Takes the bar off the terminal.
  void clear() { line_.clear(); }

  const Counts& counts() const { return counts_; }

  // "skipped: status 404: 2, record type request: 7"; empty when no reasons are known.
  std::string reasons() const;

  // "indexed 5, refused 0, skipped 1, bytes 1234, seconds 0.12", or the same as JSON; before the
  // bytes, "unchanged 3" and "deleted 2" where they are counted; JSON has "skipped_for" behind it,
  // an object of reasons.
  std::string summary() const;

 private:
  void advance();
  void reject(const std::string& name, const std::string& reason);
  // The counts of the summary with their names.
  std::vector<std::pair<const char*, uint64_t>> summed_up() const;

  const bool json_;
  StatusLine line_;
  const Stopwatch watch_{};
  bool started_ = false;
  uint64_t total_ = 0;
  uint64_t done_ = 0;
  Counts counts_;
  std::map<std::string, uint64_t> skipped_for_;
};

// Ends a run: takes the bar off, prints the summary and returns the status to exit with.
ExitStatus conclude(Progress& progress);

}  // namespace cli

#endif  // FENRA_CLI_PROGRESS_H
