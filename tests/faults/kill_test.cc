// Writers that are killed at any moment.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/faults/support.h"

namespace faults {
namespace {

class KillTest : public FaultTest {
 protected:
  static constexpr uint64_t kNumbersPerRound = 1000000;

  // In every other round each eighth article is too long for the journal, and reaches the
  // disk in two portions.
  static int words(uint64_t number) {
    return number / kNumbersPerRound % 2 == 0 && number % 8 == 1 ? 5000 : 60;
  }

  // Indexes articles from `number` on and tells each one that has been acknowledged.
  [[noreturn]] void index_until_killed(uint64_t number, int acknowledgements) const {
    const Instance fenra = open();
    for (;; ++number) {
      if (!stores(*fenra, number, words(number)) ||
          write(acknowledgements, &number, sizeof number) != sizeof number) {
        _exit(1);
      }
    }
  }

  // Lets a writer work for a time and returns what it had acknowledged when it was killed.
  std::vector<uint64_t> killed_writer(uint64_t first, useconds_t time) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t writer = start([&] {
      close(ends[0]);
      index_until_killed(first, ends[1]);
    });
    close(ends[1]);
    usleep(time);
    EXPECT_EQ(kill(writer, SIGKILL), 0);
    const int status = wait_for(writer);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer failed with " << WEXITSTATUS(status);
    std::vector<uint64_t> acknowledged;
    uint64_t number = 0;
    while (read(ends[0], &number, sizeof number) == sizeof number) {
      acknowledged.push_back(number);
    }
    close(ends[0]);
    return acknowledged;
  }

  // Of all articles, the newest and some others.
  std::vector<uint64_t> sample(const std::vector<uint64_t>& all, size_t newest) {
    std::vector<uint64_t> chosen(all.end() - static_cast<ptrdiff_t>(newest), all.end());
    for (int i = 0; i < 50 && !all.empty(); ++i) {
      chosen.push_back(all[static_cast<size_t>(below(static_cast<int>(all.size())))]);
    }
    return chosen;
  }
};

TEST_F(KillTest, WhatWasAcknowledgedIsThere) {
  const int count = rounds(3);
  std::vector<uint64_t> all;
  double longest = 0;
  for (int round = 0; round < count && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const std::vector<uint64_t> acknowledged =
        killed_writer(static_cast<uint64_t>(round + 1) * kNumbersPerRound,
                      static_cast<useconds_t>(below(700000) + (round == 1 ? 300000 : 0)));
    all.insert(all.end(), acknowledged.begin(), acknowledged.end());
    const auto before = std::chrono::steady_clock::now();
    Instance fenra = open();
    longest = std::max(
        longest, std::chrono::duration<double>(std::chrono::steady_clock::now() - before).count());
    const std::vector<uint64_t> chosen = sample(all, acknowledged.size());
    expect_found(*fenra, chosen);
    fenra.reset();
    expect_whole(chosen, words);
  }
  expect_found(*open(), all);
  printf("%d rounds, %zu articles acknowledged, longest opening %.2f s\n", count, all.size(),
         longest);
}

}  // namespace
}  // namespace faults
