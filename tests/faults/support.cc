#include "tests/faults/support.h"

#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <sstream>

#include "store/articledb.h"
#include "tests/cli/program.h"

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
  return word;
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

Urls answer(Fenra& fenra, const std::string& query) {
  Urls urls;
  const Results results(fenra.lookup(query.c_str()));
  while (const char* url = results->next()) {
    urls.emplace_back(url);
  }
  return urls;
}

namespace {

DBT item(const void* bytes, size_t length) {
  DBT item = {};
  item.data = const_cast<void*>(bytes);
  item.size = static_cast<guint32>(length);
  return item;
}

guint64 id_of(ArticledbDb* db, const std::string& url) {
  guint64 id = 0;
  DBT key = item(url.data(), url.size());
  DBT data = item(&id, 0);
  data.ulen = sizeof id;
  data.flags = DB_DBT_USERMEM;
  EXPECT_EQ(db->urlidx->get(db->urlidx, nullptr, &key, &data, 0), 0) << url;
  return id;
}

bool has_posting(DB* database, const std::string& text, guint64 id) {
  DBT key = item(text.data(), text.size());
  DBT data = item(&id, sizeof id);
  return database->get(database, nullptr, &key, &data, DB_GET_BOTH) == 0;
}

}  // namespace

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

void FaultTest::expect_whole(const std::vector<uint64_t>& numbers,
                             const std::function<int(uint64_t)>& words) const {
  const std::string verdict = expect_sound();
  ArticledbDb* db = articledb_db_new();
  ASSERT_EQ(articledb_db_open(db, path().c_str()), 0);
  for (const uint64_t number : numbers) {
    SCOPED_TRACE(url_of(number));
    const guint64 id = id_of(db, url_of(number));
    std::istringstream text(text_of(number, words(number)));
    std::deque<std::string> last;
    int missing = 0;
    for (std::string word; text >> word;) {
      missing += has_posting(db->formdb, word, id) ? 0 : 1;
      last.push_back(word + '\0');
      if (last.size() == 3) {
        missing += has_posting(db->trigramdb, last[0] + last[1] + last[2], id) ? 0 : 1;
        last.pop_front();
      }
    }
    EXPECT_EQ(missing, 0) << "postings of article " << id;
    EXPECT_EQ(verdict.find("article " + std::to_string(id) + " lacks"), std::string::npos);
  }
  EXPECT_EQ(articledb_db_close(db), 0);
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
