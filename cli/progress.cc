#include "cli/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/json.h"
#include "cli/output.h"
#include "cli/stop.h"

namespace cli {
namespace {

constexpr auto kRedrawInterval = std::chrono::milliseconds(100);

// "1:02:03" or "2:03".
std::string duration_text(double seconds) {
  const auto whole = static_cast<uint64_t>(std::llround(seconds));
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof(text), "%llu:%02u:%02u",
                  static_cast<unsigned long long>(whole / 3600),
                  static_cast<unsigned>(whole / 60 % 60), static_cast<unsigned>(whole % 60));
  } else {
    std::snprintf(text, sizeof(text), "%u:%02u", static_cast<unsigned>(whole / 60),
                  static_cast<unsigned>(whole % 60));
  }
  return text;
}

std::string figures(uint64_t done, uint64_t total, double seconds) {
  const double rate = seconds > 0 ? static_cast<double>(done) / seconds : 0;
  const std::string left =
      rate > 0 ? duration_text(static_cast<double>(total - done) / rate) : "-:--";
  char text[128];
  std::snprintf(text, sizeof(text), "%llu/%llu articles, %.0f/s, %s left",
                static_cast<unsigned long long>(done), static_cast<unsigned long long>(total), rate,
                left.c_str());
  return text;
}

}  // namespace

std::string progress_line(uint64_t done, uint64_t total, double seconds, int width) {
  constexpr int kLeastBar = 10;
  const std::string text = figures(done, total, seconds);
  const int cells = width - static_cast<int>(text.size()) - 3;
  if (cells < kLeastBar || total == 0) {
    return text.substr(0, static_cast<size_t>(std::max(width, 0)));
  }
  const auto full = static_cast<size_t>(static_cast<double>(cells) * static_cast<double>(done) /
                                        static_cast<double>(total));
  return "[" + std::string(full, '#') + std::string(static_cast<size_t>(cells) - full, '.') + "] " +
         text;
}

StatusLine::StatusLine() : terminal_(isatty(STDERR_FILENO) != 0 && !quiet()) {}

bool StatusLine::due() const { return terminal_ && Clock::now() - drawn_at_ >= kRedrawInterval; }

// The last column stays free, or some terminals would wrap the line.
int StatusLine::columns() {
  winsize size = {};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (known ? size.ws_col : 80) - 1;
}

void StatusLine::draw(const std::string& text) {
  std::fprintf(stderr, "\r%s\033[K", text.c_str());
  drawn_at_ = Clock::now();
  drawn_ = true;
}

void StatusLine::clear() {
  if (drawn_) {
    std::fputs("\r\033[K", stderr);
    drawn_ = false;
  }
}

void Progress::indexed(uint64_t bytes) {
  ++counts_.indexed;
  counts_.bytes += bytes;
  advance();
}

void Progress::unchanged() {
  ++*counts_.unchanged;
  advance();
}

void Progress::refused(const std::string& name, const std::string& reason) {
  reject(name, reason);
  advance();
}

void Progress::displaced(const std::string& name, uint64_t bytes, const std::string& reason) {
  --counts_.indexed;
  counts_.bytes -= bytes;
  reject(name, reason);
}

void Progress::reject(const std::string& name, const std::string& reason) {
  ++counts_.refused;
  note("refused: " + name + ": " + reason);
}

void Progress::skipped(const std::string& reason) {
  // Whoever is crawled chooses some of the reasons.
  constexpr size_t kMostReasons = 100;
  const bool has_room = skipped_for_.size() < kMostReasons || skipped_for_.count(reason) != 0;
  ++skipped_for_[has_room ? reason : "other reasons"];
  ++counts_.skipped;
}

void Progress::working(const std::string& name, uint64_t done, uint64_t total) {
  line_.show([&](int) {
    return name + ": " + std::to_string(total == 0 ? 100 : done * 100 / total) + " %";
  });
}

void Progress::note(const std::string& text) {
  clear();
  complain(text);
}

std::vector<std::pair<const char*, uint64_t>> Progress::summed_up() const {
  std::vector<std::pair<const char*, uint64_t>> counts = {
      {"indexed", counts_.indexed}, {"refused", counts_.refused}, {"skipped", counts_.skipped}};
  if (counts_.unchanged) {
    counts.emplace_back("unchanged", *counts_.unchanged);
  }
  if (counts_.deleted) {
    counts.emplace_back("deleted", *counts_.deleted);
  }
  counts.emplace_back("bytes", counts_.bytes);
  return counts;
}

std::string Progress::reasons() const {
  std::string line;
  for (const auto& [reason, count] : skipped_for_) {
    line += (line.empty() ? "skipped: " : ", ") + reason + ": " + std::to_string(count);
  }
  return line;
}

std::string Progress::summary() const {
  const double seconds = std::round(watch_.seconds() * 100) / 100;
  if (json_) {
    JsonObject object;
    for (const auto& [name, count] : summed_up()) {
      object.add_number(name, count);
    }
    if (!skipped_for_.empty()) {
      JsonObject reasons;
      for (const auto& [reason, count] : skipped_for_) {
        reasons.add_number(reason, count);
      }
      object.add_object("skipped_for", reasons);
    }
    return object.add_decimal("seconds", seconds).line();
  }
  std::string line;
  for (const auto& [name, count] : summed_up()) {
    line += name + (" " + std::to_string(count)) + ", ";
  }
  char text[32];
  std::snprintf(text, sizeof(text), "seconds %.2f", seconds);
  return line + text;
}

void Progress::advance() {
  if (total_ == 0) {
    return;
  }
  ++done_;
  line_.show(
      [this](int columns) { return progress_line(done_, total_, watch_.seconds(), columns); });
}

ExitStatus conclude(Progress& progress) {
  progress.clear();
  if (!quiet() && !progress.reasons().empty()) {
    progress.note(progress.reasons());
  }
  print_summary(progress.summary());
  if (stop_requested()) {
    return kInterrupted;
  }
  return progress.counts().refused == 0 ? kSuccess : kSomeRefused;
}

}  // namespace cli
