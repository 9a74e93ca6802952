// One writer and several readers in processes of their own, and iterators beside
// writes.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>

#include "store/articledb.h"
#include "store/gate.h"
#include "tests/cli/program.h"
#include "tests/faults/support.h"

namespace faults {
namespace {

using Clock = std::chrono::steady_clock;

// What the processes know of each other.
struct Shared {
  std::atomic<uint64_t> tried{0};         // the last number that a writer has begun
  std::atomic<uint64_t> acknowledged{0};  // articles
  std::atomic<uint64_t> answers{0};
};

class NeighboursTest : public FaultTest {
 protected:
  NeighboursTest() {
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shared_ = new (memory) Shared;
  }
  ~NeighboursTest() override { munmap(shared_, sizeof(Shared)); }

  void write() const {
    const Instance fenra = open();
    while (Clock::now() < end_ && !HasFailure()) {
      EXPECT_TRUE(stores(*fenra, ++shared_->tried));
      ++shared_->acknowledged;
    }
  }

  void read() const {
    const Instance fenra = open();
    while (Clock::now() < end_ && !HasFailure()) {
      const uint64_t least = shared_->acknowledged;
      const Urls urls = answer(*fenra, "etxea");
      EXPECT_GE(urls.size(), least);
      // There is one writer, so that URLs and ids grow alike.
      EXPECT_TRUE(std::is_sorted(urls.begin(), urls.end(), std::less_equal<>()));
      ++shared_->answers;
    }
  }

  // The first process writes, the others read. Every `interval` one in turn is killed
  // and begins again, unless the interval is 0.
  void run(int duration, std::chrono::milliseconds interval, bool kill_the_writer) {
    open();
    end_ = Clock::now() + std::chrono::seconds(duration);
    std::vector<pid_t> processes;
    for (int i = 0; i < 4; ++i) {
      processes.push_back(begin(i));
    }
    while (interval.count() != 0 && Clock::now() + interval < end_) {
      usleep(static_cast<useconds_t>(interval.count() * 1000 - below(200000)));
      const int victim = kill_the_writer ? below(4) : 1 + below(3);
      pid_t& process = processes[static_cast<size_t>(victim)];
      kill(process, SIGKILL);
      const int status = wait_for(process);
      EXPECT_TRUE(WIFSIGNALED(status)) << "failed: " << WEXITSTATUS(status);
      process = begin(victim);
    }
    for (const pid_t process : processes) {
      const int status = wait_for(process, duration);
      EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
      EXPECT_EQ(WEXITSTATUS(status), 0);
    }
    EXPECT_GE(answer(*open(), "etxea").size(), shared_->acknowledged);
    expect_sound();
    printf("%d s, %llu articles, %llu answers\n", duration,
           static_cast<unsigned long long>(shared_->acknowledged),
           static_cast<unsigned long long>(shared_->answers));
  }

 private:
  pid_t begin(int index) const {
    return start([this, index] { index == 0 ? write() : read(); });
  }

  Shared* shared_;
  Clock::time_point end_;
};

// `fenra verify` copies a store while articles wait in its journal, are being written to
// the databases and the journal begins anew; stops on its way let that happen in between.
TEST_F(NeighboursTest, ACopyThatIsMadeMeanwhileIsWhole) {
  open();
  const pid_t writer = start([this] {
    const Instance fenra = open();
    for (uint64_t number = 0; !HasFailure(); ++number) {
      EXPECT_TRUE(stores(*fenra, number, 300));
      if (number % 40 == 39) {
        answer(*fenra, "etxea");
      }
    }
  });
  for (int i = 0; i < rounds(8) && !HasFailure(); ++i) {
    const cli_test::Result result = cli_test::fenra_beside({"verify", path()}, [&](pid_t verify) {
      for (int stop = 0; stop < 40; ++stop) {
        usleep(static_cast<useconds_t>(below(1000)));
        kill(verify, SIGSTOP);
        usleep(static_cast<useconds_t>(below(10000)));
        kill(verify, SIGCONT);
      }
    });
    EXPECT_EQ(result.status, 0) << result.out << result.err;
  }
  EXPECT_EQ(kill(writer, SIGKILL), 0);
  EXPECT_TRUE(WIFSIGNALED(wait_for(writer)));
}

TEST_F(NeighboursTest, OneWritesAndThreeRead) {
  run(seconds(3), std::chrono::milliseconds(0), false);
}

TEST_F(NeighboursTest, OneWritesAndReadersAreKilled) {
  run(seconds(3), std::chrono::milliseconds(seconds(0) != 0 ? 1000 : 400), false);
}

TEST_F(NeighboursTest, TheWriterIsKilledToo) {
  run(seconds(3), std::chrono::milliseconds(seconds(0) != 0 ? 1000 : 400), true);
}

// The writer is the reading instance or another one of the process.
class IndexWhileReadingTest : public FaultTest, public testing::WithParamInterface<bool> {};

// The program measures and verifies a store without taking part in it, whatever somebody
// does there meanwhile.
TEST_F(NeighboursTest, ACopyIsMadeBesideTheGate) {
  EXPECT_TRUE(stores(*open(), 1));
  ArticledbDb* db = articledb_db_new();
  ASSERT_EQ(articledb_db_open(db, path().c_str()), 0);
  EXPECT_EQ(ostren::fenra::store::run_in_gate(
                db,
                [&] {
                  EXPECT_EQ(cli_test::fenra({"stats", path()}).out.substr(0, 11), "articles 1\n");
                  expect_sound();
                  return 0;
                }),
            0);
  EXPECT_EQ(articledb_db_close(db), 0);
}

TEST_P(IndexWhileReadingTest, TheAnswerHoldsWhatWasThere) {
  const Instance reader = open();
  const Instance other = GetParam() ? open() : nullptr;
  ostren::fenra::Fenra& writer = GetParam() ? *other : *reader;
  constexpr uint64_t kBefore = 60;
  const uint64_t end = kBefore + static_cast<uint64_t>(rounds(1)) * 60;
  Urls before;
  uint64_t next = 0;
  for (; next < kBefore; ++next) {
    ASSERT_TRUE(stores(writer, next));
    before.push_back(url_of(next));
  }
  Urls urls;
  const Results results(reader->lookup("etxea etxearen"));
  while (const char* url = results->next()) {
    urls.emplace_back(url);
    if (next < end) {
      ASSERT_TRUE(stores(writer, next++));
    }
  }
  EXPECT_TRUE(std::is_sorted(urls.begin(), urls.end(), std::less_equal<>()));
  EXPECT_TRUE(std::includes(urls.begin(), urls.end(), before.begin(), before.end()));
  EXPECT_EQ(answer(*reader, "etxea").size(), next);
}

INSTANTIATE_TEST_SUITE_P(Instances, IndexWhileReadingTest, testing::Bool());

}  // namespace
}  // namespace faults
