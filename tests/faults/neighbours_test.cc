// Those who read or copy a store beside its writers.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>

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

// The writer is the reading instance or another one of the process.
class IndexWhileReadingTest : public FaultTest, public testing::WithParamInterface<bool> {};

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
