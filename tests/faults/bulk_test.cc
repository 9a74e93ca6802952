// Faults while a store is built from many articles or written anew: there is all of it or
// what there was before.

#include "tests/faults/injection.h"
#include "tests/faults/support.h"
#include "tests/store/store_fixture.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

// Prepares article `number` and adds it.
int add(ArticledbBulk* bulk, uint64_t number, int words) {
  const std::string text = text_of(number, words);
  const Metadata metadata(articleValues(url_of(number), text));
  const Tokenizer tokenizer(
      articledb_utf8_tokenizer_new(text.data(), static_cast<int>(text.size())));
  ArticledbBulkArticle* article = nullptr;
  const int status =
      articledb_bulk_prepare(metadata, articledb_utf8_tokenizer_next_token, tokenizer.get(),
                             articledb_simple_fst_lemmatizer_first_lemma, lemmatizer(), &article);
  return status != 0 ? status : articledb_bulk_add(bulk, article, nullptr);
}

constexpr uint64_t kArticles = 60;

// Builds a store of some articles in runs; returns the status.
int build(const std::string& path, uint64_t articles = kArticles, int words = 60) {
  constexpr guint64 kMemory = 100000;
  ArticledbBulk* made = nullptr;
  int status = articledb_bulk_new(&made, path.c_str(), kMemory);
  const Bulk bulk(made);
  for (uint64_t number = 0; status == 0 && number < articles; ++number) {
    status = add(bulk.get(), number, words);
  }
  return status != 0 ? status : articledb_bulk_finish(bulk.get(), nullptr, nullptr);
}

int compact(const std::string& path) {
  return articledb_bulk_compact(path.c_str(), 1, nullptr, nullptr);
}

class BulkFaultTest : public FaultTest {
 protected:
  void SetUp() override { ASSERT_NE(lemmatizer(), nullptr); }

  // The store has its articles, or there is nothing where one is built.
  void expect_all_or_nothing(bool has_store) {
    if (!has_store) {
      EXPECT_EQ(fs::exists(path()), false);
      return;
    }
    ASSERT_EQ(fs::exists(path() + "/fenra.index"), true);
    run_apart([&] {
      Instance fenra = open();
      EXPECT_EQ(answer(*fenra, "mendia etxea").empty(), false);
      expect_found(*fenra, {0, kArticles / 2, kArticles - 1});
      EXPECT_TRUE(stores(*fenra, kArticles));
    });
    expect_sound();
  }

  // Makes the place for a build, or the store for a compaction.
  void begin(bool compacting) {
    fs::remove_all(path());
    EXPECT_EQ(compacting ? build(path()) : 0, 0);
  }
  int work(bool compacting) const { return compacting ? compact(path()) : build(path()); }

  std::string build_path() const { return path() + ".fenra-build"; }
};

// ---- killed ----

class BulkKillTest : public BulkFaultTest, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(Compacting, BulkKillTest, testing::Bool());

TEST_P(BulkKillTest, LeavesAWholeStoreOrNone) {
  const bool compacting = GetParam();
  // How long it takes, so that it is killed anywhere in it.
  begin(compacting);
  const gint64 begun = g_get_monotonic_time();
  run_apart([&] { EXPECT_EQ(work(compacting), 0); });
  const int duration = static_cast<int>(g_get_monotonic_time() - begun);
  for (int i = 0; i < rounds(12); ++i) {
    SCOPED_TRACE(i);
    begin(compacting);
    const pid_t worker = start([&] { _exit(work(compacting)); });
    usleep(static_cast<useconds_t>(below(duration)));
    kill(worker, SIGKILL);
    const int status = wait_for(worker);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << WEXITSTATUS(status);
    expect_all_or_nothing(compacting || fs::exists(path()));
    // The next one clears away what is left.
    fs::remove_all(path());
    EXPECT_EQ(build(path()), 0);
    EXPECT_EQ(fs::exists(build_path()), false);
  }
}

// ---- failing calls ----

class BulkFailingCallsTest : public BulkFaultTest,
                             public testing::WithParamInterface<std::tuple<Call, bool>> {};

INSTANTIATE_TEST_SUITE_P(CallsAndCompacting, BulkFailingCallsTest,
                         testing::Combine(testing::Values(Call::WRITE, Call::FSYNC),
                                          testing::Bool()));

TEST_P(BulkFailingCallsTest, AFailureLeavesWhatThereWas) {
  const auto [call, compacting] = GetParam();
  for_each_call(
      [&, call = call, compacting = compacting](int n) {
        begin(compacting);
        fail_call(call, n, Fault::LASTING);
        const bool failed = work(compacting) != 0;
        const bool reached = lift_faults() != 0;
        EXPECT_EQ(failed, reached);
        return reached;
      },
      [&, compacting = compacting](int) {
        EXPECT_EQ(fs::exists(build_path()), false);
        expect_all_or_nothing(compacting);
      });
}

// ---- a full disk ----

TEST_F(BulkFaultTest, AFullDiskEndsABuildWithoutATrace) {
  const std::string disk = directory().path();
  run_in_small_file_system(disk, "8m", [&] {
    // The first one fails while runs are written, the second one while the databases are.
    EXPECT_EQ(build(path(), 20000, 400), ENOSPC);
    EXPECT_EQ(fs::is_empty(disk), true);
    EXPECT_EQ(build(path(), 700, 400), ENOSPC);
    EXPECT_EQ(fs::is_empty(disk), true);
  });
}

}  // namespace
}  // namespace faults
