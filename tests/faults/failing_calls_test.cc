// Every single write, fsync and allocation of some work on a store fails, or kills who makes it.
#include <numeric>
#include <tuple>

#include "tests/faults/injection.h"
#include "tests/faults/support.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

class SegmentsTest : public FaultTest {
 protected:
  // Articles from 0 on, each but the last one in a segment of its own.
  Instance make_segments(uint64_t articles) const {
    Instance fenra;
    for (uint64_t number = 0; number < articles; ++number) {
      fenra.reset();
      fenra = open();
      EXPECT_TRUE(stores(*fenra, number));
    }
    return fenra;
  }
};

// The work under the fault, besides indexing two articles and reading.
enum class Work {
  INDEXING,  // nothing else
  CREATION,  // of a new store
  RECOVERY,  // of a store whose writer has vanished
  CLOSING,   // which makes a segment, and then one of eight
};

using Sweep = std::tuple<Call, Fault, Work>;

class FailingCallsTest : public SegmentsTest, public testing::WithParamInterface<Sweep> {
 protected:
  static constexpr uint64_t kBefore = 7;
  static constexpr uint64_t kLater = 100;

  // Works in a copy under the fault and goes on without it. False when there were not so many
  // calls.
  bool fail_once(int n) {
    const auto [call, fault, work] = GetParam();
    const std::string path = copy_;
    std::vector<uint64_t> stored(kBefore);
    std::iota(stored.begin(), stored.end(), uint64_t{0});
    fs::remove_all(path);
    if (work == Work::CREATION) {
      stored.clear();
    } else {
      fs::copy(this->path(), path);
    }
    Instance fenra;
    if (work == Work::INDEXING || work == Work::CLOSING) {
      fenra = open(path);
    }
    if (work == Work::CLOSING) {
      index_two(*fenra, stored);
      EXPECT_EQ(stored.size(), kBefore + 2);
    }
    fail_call(call, n, fault);
    if (work == Work::CLOSING) {
      fenra.reset();
    } else {
      if (fenra == nullptr) {
        fenra.reset(ostren::fenra::Fenra::createInstance(path.c_str()));
      }
      index_two(*fenra, stored);
    }
    if (lift_faults() == 0) {
      return false;
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
    return true;
  }

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

  const std::string copy_ = directory() / "copy";
};

TEST_P(FailingCallsTest, NothingAcknowledgedIsLost) {
  // The copies of a store that is open look like those of one whose users have died.
  Instance fenra = make_segments(kBefore);
  if (std::get<Work>(GetParam()) != Work::RECOVERY) {
    fenra.reset();
  }
  for_each_call([this](int n) { return fail_once(n); },
                [this](int n) {
                  // Looking at every one would take most of the time.
                  if (n % 8 == 1) {
                    expect_sound(copy_);
                  }
                });
}

// Whatever way an article takes, it is not acknowledged before it is on the disk.
TEST_F(FaultTest, NothingIsAcknowledgedWithoutAFlush) {
  run_apart([&] {
    install_hooks();
    Instance fenra = open();
    EXPECT_TRUE(stores(*fenra, 0));
    fail_call(Call::FSYNC, 1, Fault::LASTING);
    for (const int words : {60, 5000}) {
      EXPECT_FALSE(stores(*fenra, 1, words)) << words;
    }
    EXPECT_GE(lift_faults(), 2);
    fenra.reset();
    expect_found(*open(), {0});
  });
}

// Killed at each of the calls by which a closing makes the eighth segment, and one of them all.
TEST_F(SegmentsTest, ADeathThatLeavesSegmentsHalfMadeCostsNothing) {
  constexpr uint64_t COUNT = 8;
  const std::string copy = directory() / "copy";
  std::vector<uint64_t> stored(COUNT);
  std::iota(stored.begin(), stored.end(), uint64_t{0});
  make_segments(COUNT - 1).reset();
  for (const Call call : {Call::WRITE, Call::FSYNC}) {
    int n = 0;
    for (bool killed = true; killed && !HasFailure();) {
      fs::remove_all(copy);
      fs::copy(path(), copy);
      ++n;
      killed = WIFSIGNALED(wait_for(start([&] {
        install_hooks();
        Instance fenra = open(copy);
        EXPECT_TRUE(stores(*fenra, COUNT - 1));
        fail_call(call, n, Fault::DEATH);
        fenra.reset();
        lift_faults();
      })));
      // Somebody may come, and go on, and others after that.
      for (int opening = 0; opening < 2; ++opening) {
        run_apart([&] { expect_found(*open(copy), stored); });
      }
    }
    EXPECT_GT(n, 4);
    expect_sound(copy);
  }
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingCallsTest,
                         testing::Combine(testing::Values(Call::WRITE, Call::FSYNC),
                                          testing::Values(Fault::ONCE, Fault::LASTING),
                                          testing::Values(Work::INDEXING, Work::CREATION,
                                                          Work::RECOVERY, Work::CLOSING)));
// Berkeley DB 5.3 dereferences a null pointer when memory runs out while it makes an
// environment handle, or the first page of a database.
INSTANTIATE_TEST_SUITE_P(Allocations, FailingCallsTest,
                         testing::Combine(testing::Values(Call::ALLOCATION),
                                          testing::Values(Fault::ONCE, Fault::LASTING),
                                          testing::Values(Work::INDEXING, Work::CLOSING)));

}  // namespace
}  // namespace faults
