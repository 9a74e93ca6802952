#include "tests/faults/support.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>

#include "store/articledb.h"
#include "tests/cli/program.h"
#include "tests/faults/injection.h"

namespace faults {

using ostren::fenra::Fenra;
using ostren::fenra::FENRA_NO_ERROR;

int setting(const char* variable, int normal) {
  const char* value = getenv(variable);
  return value == nullptr ? normal : atoi(value);
}

std::string word_of(uint64_t number) {
  std::string word = "xq";
  for (int i = 0; i < 7; ++i) {
    word.insert(word.begin() + 2, static_cast<char>('a' + number % 26));
    number /= 26;
  }
  // No ending that the lexicon takes off.
  return word + "q";
}

std::string url_of(uint64_t number) {
  char url[64];
  snprintf(url, sizeof url, "https://adibidea.eus/%012" PRIu64, number);
  return url;
}

std::string text_of(uint64_t number, int words) {
  static const char* const known[] = {"mendia", "zuria", "gizonaren", "ura", "itsasotik", "eta"};
  std::mt19937_64 random(number);
  std::string text = "etxea " + word_of(number);
  for (int i = 0; i < words; ++i) {
    const uint64_t choice = random() % 300;
    text += " ";
    text += choice < 60 ? known[choice / 10] : "w" + word_of(choice * choice);
  }
  return text;
}

void* lemmatizer() {
  static void* const loaded = [] {
    const ostren::fenra::TmpFile file(fstContent, fstContentSize);
    return articledb_simple_fst_lemmatizer_new(file.name());
  }();
  return loaded;
}

FaultTest::FaultTest()
    : seed_(getenv("FENRA_TEST_SEED") != nullptr ? strtoull(getenv("FENRA_TEST_SEED"), nullptr, 10)
                                                 : std::random_device()()),
      random_(seed_) {}

FaultTest::~FaultTest() {
  if (HasFailure()) {
    printf("repeat this with FENRA_TEST_SEED=%" PRIu64 "\n", seed_);
  }
}

Instance FaultTest::open(const std::string& path) {
  Instance fenra(Fenra::createInstance(path.c_str()));
  EXPECT_EQ(fenra->error(), FENRA_NO_ERROR);
  return fenra;
}

bool FaultTest::stores(Fenra& fenra, uint64_t number, int words) {
  return fenra.index(url_of(number).c_str(), text_of(number, words).c_str(), "text/plain") ==
         FENRA_NO_ERROR;
}

void FaultTest::expect_found(Fenra& fenra, const std::vector<uint64_t>& numbers) {
  for (const uint64_t number : numbers) {
    EXPECT_EQ(answer(fenra, word_of(number)), Urls{url_of(number)}) << number;
  }
}

std::string FaultTest::expect_sound(const std::string& path) {
  const cli_test::Result result = cli_test::fenra({"verify", path, "--deep"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  return result.out;
}

pid_t start(const std::function<void()>& work) {
  fflush(stdout);
  const bool failed_before = testing::Test::HasFailure();
  const pid_t child = fork();
  if (child == 0) {
    work();
    fflush(stdout);
    _exit(testing::Test::HasFailure() && !failed_before ? 1 : 0);
  }
  return child;
}

pid_t start_in_own_namespace(const std::function<void()>& work) {
  const int mine = open("/proc/self/ns/pid", O_RDONLY | O_CLOEXEC);
  // It is the children's; this process stays where it is.
  const pid_t child = unshare(CLONE_NEWPID) == 0 ? start(work) : -1;
  EXPECT_TRUE(child == -1 || setns(mine, CLONE_NEWPID) == 0);
  close(mine);
  return child;
}

int wait_for(pid_t process, int seconds) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point patience = Clock::now() + std::chrono::seconds(60 + seconds);
  int status = 0;
  while (waitpid(process, &status, WNOHANG) == 0) {
    if (Clock::now() > patience) {
      ADD_FAILURE() << "process " << process << " hangs";
      kill(process, SIGKILL);
      waitpid(process, &status, 0);
      break;
    }
    usleep(2000);
  }
  return status;
}

void run_apart(const std::function<void()>& work) {
  const int status = wait_for(start(work));
  EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

void silence() {
  if (freopen("/dev/null", "w", stderr) == nullptr) {
    _exit(1);
  }
}

void for_each_call(const std::function<bool(int)>& work, const std::function<void(int)>& look) {
  enum { kBroken = 1, kUnreached = 40, kReached = 41 };
  const int density = rounds(1);
  int n = 1;
  for (; !testing::Test::HasFailure(); n += 1 + n / (2 * density)) {
    const int status = wait_for(start([&] {
      silence();
      install_hooks();
      const bool reached = work(n);
      fflush(stdout);
      _exit(testing::Test::HasFailure() ? kBroken : reached ? kReached : kUnreached);
    }));
    if (WIFEXITED(status) && WEXITSTATUS(status) == kUnreached) {
      break;
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == kReached) << "wait status " << status;
    look(n);
  }
  EXPECT_FALSE(testing::Test::HasFailure()) << "call " << n;
  EXPECT_GT(n, 1) << "no call has failed";
}

void run_in_small_file_system(const std::string& directory, const std::string& size,
                              const std::function<void()>& work) {
  constexpr int kNoMount = 77;
  const int status =
      wait_for(start([&] {
                 // In a name space of its own the mount ends with the process.
                 if (unshare(CLONE_NEWNS) != 0 ||
                     mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                     mount("tmpfs", directory.c_str(), "tmpfs", 0, ("size=" + size).c_str()) != 0) {
                   _exit(kNoMount);
                 }
                 silence();
                 work();
               }),
               120);
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  if (WEXITSTATUS(status) == kNoMount) {
    GTEST_SKIP() << "no file system can be mounted here";
  }
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace faults
