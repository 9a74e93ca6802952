// One store and several users of it: instances and processes that index, search, come,
// go and die.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "facade/fenra.h"
#include "tests/support/temporary_directory.h"

namespace ostren {
namespace fenra {
namespace {

using Instance = std::unique_ptr<Fenra>;
using Results = std::unique_ptr<ResultIterator>;

class SharingTest : public testing::Test {
 protected:
  Instance Open() {
    Instance fenra(Fenra::createInstance(store_.c_str()));
    EXPECT_EQ(fenra->error(), FENRA_NO_ERROR);
    return fenra;
  }

  FenraErrorCode IndexNext(Fenra* fenra) {
    const std::string url = "u:" + std::to_string(++indexed_);
    return fenra->index(url.c_str(), "etxea eta mendia, etxeak eta mendian", "text/plain");
  }

  static int NumberOf(const char* url) { return atoi(url + 2); }

  // Reads the answer with `between` before every next(): every article that was there
  // comes, in its order. Returns how many came.
  int ReadWhile(Fenra* fenra, const std::function<void(int)>& between) {
    const int before = indexed_;
    const Results results(fenra->lookup("etxe mendiak"));
    int count = 0;
    for (;;) {
      between(count);
      const char* url = results->next();
      if (url == nullptr) {
        break;
      }
      EXPECT_EQ(NumberOf(url), ++count);
    }
    EXPECT_GE(count, before);
    return count;
  }

  TemporaryDirectory directory_;
  const std::string store_ = directory_ / "store";
  int indexed_ = 0;
};

TEST_F(SharingTest, IndexingGoesOnBetweenTheResults) {
  constexpr int kFirst = 30;
  const Instance reader = Open();
  for (int i = 0; i < kFirst; ++i) {
    ASSERT_EQ(IndexNext(reader.get()), FENRA_NO_ERROR);
  }
  // With the reading instance, and with another one of the same process.
  const Instance other = Open();
  for (Fenra* writer : {reader.get(), other.get()}) {
    const int end = indexed_ + 40;
    EXPECT_EQ(ReadWhile(reader.get(),
                        [&](int) {
                          if (indexed_ < end) {
                            EXPECT_EQ(IndexNext(writer), FENRA_NO_ERROR);
                          }
                        }),
              end);
  }
}

// A process that indexes an article for every byte it is sent, and answers each with the
// result. The instance is made in it: it is forked before its parent has one.
class Writer {
 public:
  explicit Writer(const std::string& store) {
    EXPECT_EQ(pipe(orders_), 0);
    EXPECT_EQ(pipe(answers_), 0);
    pid_ = fork();
    if (pid_ == 0) {
      ::close(orders_[1]);
      ::close(answers_[0]);
      Serve(store);
    }
    ::close(orders_[0]);
    ::close(answers_[1]);
  }
  ~Writer() {
    ::close(orders_[1]);
    ::close(answers_[0]);
    int status;
    waitpid(pid_, &status, 0);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  int Index(int number) {
    char result = -1;
    EXPECT_EQ(write(orders_[1], &number, sizeof number), static_cast<ssize_t>(sizeof number));
    EXPECT_EQ(read(answers_[0], &result, 1), 1);
    return result;
  }

  // Dies in the middle of writing an article.
  void Die(int number) {
    number = -number;
    EXPECT_EQ(write(orders_[1], &number, sizeof number), static_cast<ssize_t>(sizeof number));
    char end;
    EXPECT_EQ(read(answers_[0], &end, 1), 0);
  }

 private:
  [[noreturn]] void Serve(const std::string& store) const {
    FenraBasic* fenra = nullptr;
    std::unique_ptr<FenraData> direct;
    int number;
    while (read(orders_[0], &number, sizeof number) == static_cast<ssize_t>(sizeof number)) {
      if (fenra == nullptr) {
        fenra = static_cast<FenraBasic*>(Fenra::createInstance(store.c_str()));
      }
      if (number < 0) {
        direct = std::make_unique<FenraData>(store.c_str(), nullptr);
        direct->db->formdb->put = [](DB*, DB_TXN*, DBT*, DBT*, guint32) { return raise(SIGKILL); };
      }
      const std::string url = "u:" + std::to_string(abs(number));
      // The long word is none for the journal.
      const std::string dying = "etxea mendia " + std::string(2000, 'a');
      const char result =
          static_cast<char>((number < 0 ? direct->index(url.c_str(), dying.c_str(), "text/plain")
                                        : fenra->index(url.c_str(), "etxea mendia", "text/plain")));
      if (write(answers_[1], &result, 1) != 1) {
        break;
      }
    }
    delete fenra;
    _exit(0);
  }

  int orders_[2];
  int answers_[2];
  pid_t pid_;
};

TEST_F(SharingTest, AnotherProcessIndexesAndDiesBetweenTheResults) {
  constexpr int kFirst = 20;
  std::vector<std::unique_ptr<Writer>> writers;
  for (int i = 0; i < 5; ++i) {
    writers.push_back(std::make_unique<Writer>(store_));
  }
  const Instance reader = Open();
  for (int i = 0; i < kFirst; ++i) {
    ASSERT_EQ(IndexNext(reader.get()), FENRA_NO_ERROR);
  }
  const int count = ReadWhile(reader.get(), [&](int place) {
    if (place % 10 == 5 && writers.size() > 1) {
      writers.back()->Die(1000000);
      writers.pop_back();
    } else if (indexed_ < 100) {
      EXPECT_EQ(writers.back()->Index(++indexed_), FENRA_NO_ERROR);
    }
  });
  EXPECT_EQ(count, indexed_);
  EXPECT_EQ(writers.size(), 1U);
  ASSERT_EQ(IndexNext(reader.get()), FENRA_NO_ERROR);
}

TEST_F(SharingTest, AnyFolderBecomesAStore) {
  ASSERT_TRUE(std::filesystem::create_directory(store_));
  for (int i = 1; i <= 2; ++i) {
    const Instance fenra = Open();
    ASSERT_EQ(IndexNext(fenra.get()), FENRA_NO_ERROR);
    EXPECT_EQ(ReadWhile(fenra.get(), [](int) {}), i);
  }
  // Nor does it matter where the process goes.
  const auto place = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  const Instance relative(Fenra::createInstance("store"));
  std::filesystem::current_path(place);
  {
    Writer writer(store_);
    writer.Die(1000000);
  }
  ASSERT_EQ(IndexNext(relative.get()), FENRA_NO_ERROR);
  EXPECT_EQ(ReadWhile(relative.get(), [](int) {}), 3);
}

}  // namespace
}  // namespace fenra
}  // namespace ostren
