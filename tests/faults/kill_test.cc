// Processes that write and read one store and are killed at any moment.

#include <array>
#include <chrono>
#include <cstdio>

#include "tests/faults/article_model.h"

namespace faults {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kProcesses = 3;

class KillTest : public FaultTest {
 protected:
  ~KillTest() override { kill_all(); }

  // What a process does again and again. It has its number.
  using Step = std::function<void(ArticledbDb*, int)>;

  // Kills the processes, one at a time and now and then all of them, and starts them again.
  // The first so many have a process namespace each.
  void run(const ArticleModel& model, int own_namespaces, const Step& step) {
    open();
    own_namespaces_ = own_namespaces;
    step_ = step;
    end_ = Clock::now() + std::chrono::seconds(seconds(4));
    int kills = 0;
    for (; Clock::now() < end_ && !HasFailure(); ++kills) {
      start_missing();
      // In long runs now and then enough for the journal to fill.
      const bool at_leisure = seconds(0) != 0 && below(10) == 0;
      usleep(static_cast<useconds_t>(below(at_leisure ? 5000000 : 300000)));
      expect_at_work();
      kill_one(static_cast<size_t>(below(kProcesses)));
      if (kills % 8 == 7) {
        kill_all();
      }
      // Ever more rarely, since it takes the longer the more there is.
      if (kills >= 7 && (kills & (kills + 1)) == 0) {
        expect_model(model);
      }
    }
    for (pid_t& process : processes_) {
      const int status = process == 0 || HasFailure() ? 0 : wait_for(process);
      EXPECT_EQ(status, 0) << "wait status";
      process = HasFailure() ? process : 0;
    }
    kill_all();
    expect_model(model);
    printf("%d kills, %llu articles, %llu answers\n", kills,
           static_cast<unsigned long long>(model.written()),
           static_cast<unsigned long long>(model.answers()));
  }

 private:
  Handle open_handle(bool uses_journal) const {
    Handle db(articledb_db_new());
    if (uses_journal) {
      EXPECT_EQ(articledb_db_use_journal(db.get()), 0);
    }
    EXPECT_EQ(articledb_db_open(db.get(), path().c_str()), 0);
    return db;
  }

  void start_missing() {
    for (size_t i = 0; i < kProcesses; ++i) {
      if (processes_[i] == 0) {
        beats_->last[i] = Clock::now().time_since_epoch().count();
        const uint64_t seed = random_();
        const auto work = [this, i, seed] { this->work(i, seed); };
        const bool own = i < static_cast<size_t>(own_namespaces_);
        processes_[i] = own ? start_in_own_namespace(work) : start(work);
      }
    }
  }

  void work(size_t number, uint64_t seed) {
    random_.seed(seed);
    // Of several that write past the journal a reader may have read the one with the higher id
    // ahead, and miss the other.
    const bool writes_alone = own_namespaces_ == 0;
    const Handle store = open_handle(!writes_alone || random_() % 4 != 0);
    while (Clock::now() < end_ && !HasFailure()) {
      beats_->last[number] = Clock::now().time_since_epoch().count();
      step_(store.get(), static_cast<int>(number));
    }
  }

  // No step takes so long.
  void expect_at_work() const {
    for (const auto& last : beats_->last) {
      EXPECT_LT(Clock::now() - Clock::time_point(Clock::duration(last)), std::chrono::seconds(30))
          << "a process hangs";
    }
  }

  void kill_one(size_t number) {
    pid_t& process = processes_[number];
    if (process > 0) {
      kill(process, SIGKILL);
      const int status = wait_for(process);
      EXPECT_TRUE(WIFSIGNALED(status) || status == 0) << "failed: " << WEXITSTATUS(status);
    }
    process = 0;
  }
  void kill_all() {
    for (size_t number = 0; number < kProcesses; ++number) {
      kill_one(number);
    }
  }

  void expect_model(const ArticleModel& model) const {
    // Apart, so that it cannot hang here either.
    const pid_t checker = start([&] {
      const std::vector<uint64_t> ids = model.expect_all(open_handle(true).get());
      const std::string verdict = expect_sound();
      for (const uint64_t id : ids) {
        EXPECT_EQ(verdict.find("article " + std::to_string(id) + " lacks"), std::string::npos);
      }
    });
    EXPECT_EQ(wait_for(checker, seconds(0)), 0) << "wait status";
  }

  struct Beats {
    std::array<std::atomic<Clock::rep>, kProcesses> last{};
  };

  const Shared<Beats> beats_;
  std::array<pid_t, kProcesses> processes_{};
  int own_namespaces_ = 0;
  Step step_;
  Clock::time_point end_;
};

TEST_F(KillTest, TheStoreShowsWhatTheModelKnows) {
  const ArticleModel model(ArticleModel::Kind::ANY);
  run(model, 0, [&](ArticledbDb* db, int number) {
    number == 0 ? model.write(db, random_, 0, 1) : model.ask(db, random_);
  });
}

// As two containers have it that share a volume, with a third process outside.
TEST_F(KillTest, ProcessNamespacesShareAStore) {
  const pid_t probe = start_in_own_namespace([] {});
  if (probe == -1) {
    GTEST_SKIP() << "no process namespace can be made here";
  }
  wait_for(probe);
  const ArticleModel model(ArticleModel::Kind::FOR_THE_JOURNAL);
  run(model, 2, [&](ArticledbDb* db, int number) {
    model.write(db, random_, static_cast<uint32_t>(number), kProcesses);
    model.ask(db, random_);
  });
}

}  // namespace
}  // namespace faults
