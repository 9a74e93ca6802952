// What the fault tests share: seeds, generated articles, processes of their own and
// checks of a store from outside.
#ifndef FENRA_TESTS_FAULTS_SUPPORT_H
#define FENRA_TESTS_FAULTS_SUPPORT_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <new>
#include <random>

#include "base/handles.h"
#include "tests/support/instance.h"
#include "tests/support/temporary_directory.h"

namespace faults {

using Tokenizer =
    std::unique_ptr<ArticledbUtf8Tokenizer, ostren::fenra::Releaser<articledb_utf8_tokenizer_free>>;

// The value of an environment variable, for long runs: FENRA_FAULT_ROUNDS for tests
// that go by rounds, FENRA_FAULT_SECONDS for those that go by time.
int setting(const char* variable, int normal);
inline int rounds(int normal) { return setting("FENRA_FAULT_ROUNDS", normal); }
inline int seconds(int normal) { return setting("FENRA_FAULT_SECONDS", normal); }

// A word of letters that stands for a number, unknown to the lexicon's language.
std::string word_of(uint64_t number);

// Article `number`: its URL grows with the number byte by byte; its text has "etxea",
// the word of the number and `words` random others.
std::string url_of(uint64_t number);
std::string text_of(uint64_t number, int words = 60);

// That of instances, which `fenra verify` compares with; loaded once, for processes that are
// started later too.
void* lemmatizer();

// An object that processes share which are started later.
template <typename T>
class Shared {
 public:
  Shared()
      : object_(new (mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                          -1, 0)) T) {}
  ~Shared() { munmap(object_, sizeof(T)); }
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;

  T* operator->() const { return object_; }

 private:
  T* const object_;
};

class FaultTest : public testing::Test {
 protected:
  // FENRA_TEST_SEED repeats a run.
  FaultTest();
  ~FaultTest() override;

  int below(int bound) { return static_cast<int>(random_() % static_cast<uint64_t>(bound)); }

  std::string path() const { return directory_ / "store"; }
  const TemporaryDirectory& directory() const { return directory_; }

  Instance open() const { return open(path()); }
  static Instance open(const std::string& path);

  static bool stores(ostren::fenra::Fenra& fenra, uint64_t number, int words = 60);

  // Every article is found by its own word.
  static void expect_found(ostren::fenra::Fenra& fenra, const std::vector<uint64_t>& numbers);

  // `fenra verify --deep` finds the closed store sound. Returns what it printed.
  std::string expect_sound() const { return expect_sound(path()); }
  static std::string expect_sound(const std::string& path);

 private:
  const uint64_t seed_;
  const TemporaryDirectory directory_;

 protected:
  std::mt19937_64 random_;
};

// Runs `work` in a process of its own, which ends when it returns, with status 0
// unless an expectation in it has failed.
pid_t start(const std::function<void()>& work);

// The same as number 1 of a process namespace of its own, as in a container; -1 where that
// is not permitted.
pid_t start_in_own_namespace(const std::function<void()>& work);

// Waits for a process and returns its wait status; kills it when it has not ended
// after a minute and `seconds`.
int wait_for(pid_t process, int seconds = 0);

// Runs `work` as start() does and expects it to end well.
void run_apart(const std::function<void()>& work);

// For the rest of the process nothing is heard of standard error.
void silence();

// Runs `work`, which has a call of that number fail, in a silenced process of its own with the
// hooks in, and `look` behind it, until `work` tells with false that there were not so many
// calls. In long runs all calls fail, a part of them otherwise.
void for_each_call(const std::function<bool(int)>& work, const std::function<void(int)>& look);

// The same, silenced, with an empty file system of the given size, as "48m", mounted on
// `directory`, for up to two minutes more; skips the test where none can be mounted.
void run_in_small_file_system(const std::string& directory, const std::string& size,
                              const std::function<void()>& work);

}  // namespace faults

#endif  // FENRA_TESTS_FAULTS_SUPPORT_H
