// Those who read or copy a store beside its writers.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "store/articledb.h"
#include "store/process/gate.h"
#include "tests/cli/program.h"
#include "tests/faults/support.h"

namespace faults {
namespace {

using NeighboursTest = FaultTest;

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
        // What is verified shall not grow out of bounds.
        usleep(static_cast<useconds_t>(below(200000)));
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

// Backups beside a writer: each opens at once, is sound, and has what had been acknowledged before
// it began. One that is killed leaves nothing under its name, or all of it, and no trouble for
// the next.
TEST_F(NeighboursTest, ABackupHasWhatWasAcknowledgedBefore) {
  open();
  const Shared<std::atomic<uint64_t>> acknowledged;
  const pid_t writer = start([&] {
    const Instance fenra = open();
    for (uint64_t number = 0; !HasFailure(); ++number) {
      EXPECT_TRUE(stores(*fenra, number, below(2) * 300));
      acknowledged->store(number + 1);
      if (below(40) == 0) {
        answer(*fenra, "etxea");
        // What is verified shall not grow out of bounds.
        usleep(static_cast<useconds_t>(below(1000000)));
      }
    }
  });
  for (int i = 0; i < rounds(3) && !HasFailure(); ++i) {
    usleep(seconds(0) != 0 ? 1000000 : 100000);
    const std::string backup = directory() / ("backup" + std::to_string(i));
    const bool killed = below(2) == 0;
    const uint64_t before = acknowledged->load();
    if (killed) {
      cli_test::fenra_beside({"backup", path(), backup}, [&](pid_t program) {
        usleep(static_cast<useconds_t>(below(200000)));
        kill(program, SIGKILL);
      });
    }
    if (!std::filesystem::exists(backup)) {
      const cli_test::Result result = cli_test::fenra({"backup", path(), backup});
      EXPECT_EQ(result.status, 0) << result.err;
    }
    EXPECT_EQ(cli_test::fenra({"search", backup, "etxea", "--count"}).status, 0);
    expect_sound(backup);
    run_apart([&] {
      std::vector<uint64_t> numbers;
      for (uint64_t number = before; number > 0 && numbers.size() < 200; --number) {
        numbers.push_back(number - 1);
      }
      expect_found(*open(backup), numbers);
    });
    EXPECT_EQ(std::filesystem::exists(backup + ".fenra-build"), false);
    std::filesystem::remove_all(backup);
  }
  EXPECT_EQ(kill(writer, SIGKILL), 0);
  EXPECT_TRUE(WIFSIGNALED(wait_for(writer)));
  printf("%d backups, %llu articles\n", rounds(3),
         static_cast<unsigned long long>(acknowledged->load()));
}

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

}  // namespace
}  // namespace faults
