// Those who read or copy a store beside its writers.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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
