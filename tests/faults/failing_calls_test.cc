// Every single write, fsync and allocation of some work on a store fails once.
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "tests/faults/injection.h"
#include "tests/faults/support.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

// The work under the fault, besides indexing two articles and reading.
enum class Work {
  INDEXING,  // nothing else
  CREATION,  // of a new store
  RECOVERY,  // of a store whose writer has vanished
  CLOSING,
};

// Whether it fails until the fault is lifted is the second part.
using Sweep = std::tuple<Call, bool, Work>;

class FailingCallsTest : public FaultTest, public testing::WithParamInterface<Sweep> {
 protected:
  static constexpr uint64_t kBefore = 3;
  static constexpr uint64_t kLater = 100;

  // Status of a process in which the n-th call fails.
  enum Ending { kBroken = 1, kUnreached = 40, kReached = 41 };

  // Works under the fault and goes on without it.
  Ending fail_once(const std::string& path, int n) {
    const auto [call, lasting, work] = GetParam();
    std::vector<uint64_t> stored = {0, 1, 2};
    if (work == Work::CREATION) {
      stored.clear();
    }
    install_hooks();
    Instance fenra;
    if (work == Work::INDEXING || work == Work::CLOSING) {
      fenra = open(path);
    }
    if (work == Work::CLOSING) {
      index_two(*fenra, stored);
      EXPECT_EQ(stored.size(), 5U);
    }
    fail_call(call, n, lasting);
    if (work == Work::CLOSING) {
      fenra.reset();
    } else {
      if (fenra == nullptr) {
        fenra.reset(ostren::fenra::Fenra::createInstance(path.c_str()));
      }
      index_two(*fenra, stored);
    }
    if (lift_faults() == 0) {
      return kUnreached;
    }
    if (fenra == nullptr || !stores(*fenra, kLater)) {
      fenra.reset();
      fenra = open(path);
      EXPECT_TRUE(stores(*fenra, kLater));
    }
    stored.push_back(kLater);
    expect_found(*fenra, stored);
    fenra.reset();
    expect_found(*open(path), stored);
    return kReached;
  }

  // The question has them written to the databases.
  static void index_two(ostren::fenra::Fenra& fenra, std::vector<uint64_t>& stored) {
    for (uint64_t number = kBefore; number < kBefore + 2; ++number) {
      if (stores(fenra, number)) {
        stored.push_back(number);
      }
    }
    if (fenra.error() == ostren::fenra::FENRA_NO_ERROR) {
      answer(fenra, "etxea");
    }
  }

  // The copy of a store in which the n-th call fails.
  Ending run(int n) {
    SCOPED_TRACE("call " + std::to_string(n));
    const std::string copy = directory() / "copy";
    fs::remove_all(copy);
    if (std::get<Work>(GetParam()) != Work::CREATION) {
      fs::copy(path(), copy);
    }
    const int status = wait_for(start([&] {
      silence();
      const Ending ending = fail_once(copy, n);
      fflush(stdout);
      _exit(HasFailure() ? kBroken : ending);
    }));
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    const auto ending = static_cast<Ending>(WEXITSTATUS(status));
    EXPECT_GE(ending, kUnreached);
    // Looking at every one would take most of the time.
    if (n % 8 == 1) {
      expect_sound(copy);
    }
    return ending;
  }
};

TEST_P(FailingCallsTest, NothingAcknowledgedIsLost) {
  // The copies of a store that is open look like those of one whose users have died.
  Instance fenra = open();
  for (uint64_t number = 0; number < kBefore; ++number) {
    ASSERT_TRUE(stores(*fenra, number));
  }
  if (std::get<Work>(GetParam()) != Work::RECOVERY) {
    fenra.reset();
  }
  for_each_call([this](int n) { return run(n) != kUnreached; });
}

// Whatever way an article takes, it is not acknowledged before it is on the disk.
TEST_F(FaultTest, NothingIsAcknowledgedWithoutAFlush) {
  run_apart([&] {
    install_hooks();
    Instance fenra = open();
    EXPECT_TRUE(stores(*fenra, 0));
    fail_call(Call::FSYNC, 1, true);
    for (const int words : {60, 5000}) {
      EXPECT_FALSE(stores(*fenra, 1, words)) << words;
    }
    EXPECT_GE(lift_faults(), 2);
    fenra.reset();
    expect_found(*open(), {0});
  });
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingCallsTest,
                         testing::Combine(testing::Values(Call::WRITE, Call::FSYNC),
                                          testing::Bool(),
                                          testing::Values(Work::INDEXING, Work::CREATION,
                                                          Work::RECOVERY, Work::CLOSING)));
// Berkeley DB 5.3 dereferences a null pointer when memory runs out while it makes an
// environment handle, or the first page of a database.
INSTANTIATE_TEST_SUITE_P(Allocations, FailingCallsTest,
                         testing::Combine(testing::Values(Call::ALLOCATION), testing::Bool(),
                                          testing::Values(Work::INDEXING, Work::CLOSING)));

}  // namespace
}  // namespace faults
