// Stores that are built from many articles at once, compared with those that were
// indexed one article after the other.
#include <set>

#include "tests/store/contents.h"

namespace {

class BulkTest : public ContentsTest {
 protected:
  std::string target() const { return root + "/bulk"; }

  static Strings listing(const std::string& of) {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(of)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  Bulk begin_bulk(guint64 memory = 0) const {
    ArticledbBulk* bulk = nullptr;
    EXPECT_EQ(articledb_bulk_new(&bulk, target().c_str(), memory), 0);
    return Bulk(bulk);
  }

  // Indexes the articles both ways, expects the same of both, and leaves the built store
  // open.
  void expect_equal(const std::vector<Source>& sources, guint64 memory) {
    const Bulk bulk = begin_bulk(memory);
    for (const Source& source : sources) {
      const int status = indexSource(source);
      EXPECT_EQ(add(bulk.get(), source), status);
    }
    EXPECT_EQ(articledb_bulk_finish(bulk.get(), nullptr, nullptr), 0);
    const Contents expected = contents();
    path = target();
    reopen();
    expectContents(expected);
  }

  static Source article(const std::string& url, Strings tokens,
                        const std::string& text = "testua") {
    return {articleValues(url, text), {std::move(tokens)}};
  }
};

class BulkEqualityTest : public BulkTest, public testing::WithParamInterface<int> {};

// The memory: with little of it every article is a run of its own, and runs are merged to runs.
INSTANTIATE_TEST_SUITE_P(Memory, BulkEqualityTest, testing::Values(0, 100000, 1));

TEST_P(BulkEqualityTest, HasTheContentsOfIndexingOneByOne) {
  expect_equal(random_articles(GetParam() == 1 ? 200 : 300, 7), static_cast<guint64>(GetParam()));
  EXPECT_THAT(listing(root), ElementsAre("bulk", "store"));
  // It is a store like any other.
  ASSERT_EQ(index("http://a.eus/0", {"gero", "w0"}), 0);
  ASSERT_EQ(index("http://a.eus/0", {"gero", "w0"}), 0);
  const guint64 last = maxId();
  reopen();
  EXPECT_THAT(formIds("gero"), ElementsAre(last - 1, last));
  EXPECT_EQ(formIds("w0").back(), last);
  close();
  verify();
}

// Lists that fill pages of their own, and a record longer than any buffer.
TEST_F(BulkTest, KeepsLongListsAndLongRecords) {
  std::vector<Source> articles;
  for (int i = 0; i < 1500; ++i) {
    articles.push_back(article("u" + std::to_string(i % 1400), {"eta", "da", "bat"}));
  }
  std::string noise;
  for (unsigned i = 0; i < 300000; ++i) {
    noise += static_cast<char>('!' + std::mt19937(i)() % 90);
  }
  articles.push_back(article(std::string(5000, 'u'), {std::string(3000, 'f')}, noise));
  expect_equal(articles, 200000);
  EXPECT_EQ(formIds("eta").size(), 1500U);
  EXPECT_EQ(text(1501), noise);
  close();
  verify();
}

TEST_F(BulkTest, BuildsAnEmptyStoreOutOfNothing) {
  ASSERT_EQ(mkdir(target().c_str(), 0755), 0);
  expect_equal({}, 0);
  EXPECT_EQ(maxId(), 0U);
  EXPECT_EQ(index("u", {"a"}), 0);
  EXPECT_EQ(maxId(), 1U);
}

TEST_F(BulkTest, GivesUpWithoutATrace) {
  for (const guint64 memory : {guint64{0}, guint64{1}}) {
    const Bulk bulk = begin_bulk(memory);
    EXPECT_EQ(add(bulk.get(), article("u", {"a"})), 0);
    EXPECT_THAT(listing(root), ElementsAre("bulk.fenra-build", "store"));
  }
  EXPECT_THAT(listing(root), ElementsAre("store"));

  const Bulk bulk = begin_bulk();
  for (int i = 0; i < 1500; ++i) {
    add(bulk.get(), article("u" + std::to_string(i), {"eta"}));
  }
  guint64 reports = 0;
  const auto stop = [](void* count, guint64 done, guint64 total) {
    EXPECT_LE(done, total);
    return ++*static_cast<guint64*>(count) == 3 ? 1 : 0;
  };
  EXPECT_EQ(articledb_bulk_finish(bulk.get(), stop, &reports), ECANCELED);
  EXPECT_EQ(reports, 3U);
  EXPECT_EQ(articledb_bulk_finish(bulk.get(), nullptr, nullptr), ECANCELED);
  EXPECT_EQ(std::filesystem::exists(target()), false);
}

TEST_F(BulkTest, RefusesWhatIsThereAlready) {
  ArticledbBulk* bulk = nullptr;
  EXPECT_EQ(articledb_bulk_new(&bulk, path.c_str(), 0), EEXIST);
  EXPECT_EQ(articledb_bulk_new(&bulk, (path + "/fenra.index/").c_str(), 0), EEXIST);
  EXPECT_EQ(articledb_bulk_new(&bulk, (root + "/none/bulk").c_str(), 0), ENOENT);
  EXPECT_EQ(articledb_bulk_new(&bulk, "", 0), ENOENT);
  EXPECT_EQ(bulk, nullptr);

  const Bulk first = begin_bulk();
  EXPECT_EQ(articledb_bulk_new(&bulk, (target() + "/").c_str(), 0), EBUSY);
  // Whoever comes in between keeps what is there.
  ASSERT_EQ(mkdir(target().c_str(), 0755), 0);
  directory.write("bulk/letter", "");
  EXPECT_EQ(articledb_bulk_finish(first.get(), nullptr, nullptr), EEXIST);
  EXPECT_EQ(std::filesystem::exists(target() + "/letter"), true);
}

// ---- compaction ----

class CompactTest : public BulkTest {
 protected:
  // Fills the store one by one and closes it; returns its contents.
  Contents fill_and_close() {
    indexAll(random_articles(400, 11));
    const Contents all = contents();
    close();
    return all;
  }

  // What compaction leaves of the contents: nothing leads to ids that have no record.
  static Contents without_dead_ids(Contents contents) {
    std::set<std::string> live;
    for (const char* name : {"urldb", "txtdb"}) {
      for (const auto& [id, record] : contents.at(name)) {
        live.insert(id);
      }
    }
    for (const char* name : {"urlidx", "datedb", "sourcedb", "formdb", "trigramdb"}) {
      Pairs& pairs = contents.at(name);
      const auto is_dead = [&](const auto& pair) { return live.count(pair.second) == 0; };
      pairs.erase(std::remove_if(pairs.begin(), pairs.end(), is_dead), pairs.end());
    }
    return contents;
  }

  int compact() const { return articledb_bulk_compact(path.c_str(), 1, nullptr, nullptr); }
};

TEST_F(CompactTest, KeepsWhatIsShownAndOtherFiles) {
  indexAll(random_articles(10, 12));
  // As a crash may leave them: a text alone, a URL alone, and words alone.
  EXPECT_EQ(articledb_transaction_put_txt(t, 1, "testua", 6), 0);
  EXPECT_EQ(articledb_transaction_put_url(t, "bakarrik", 8, 2), 0);
  EXPECT_EQ(articledb_transaction_put_form(t, "inorena", 7, G_MAXUINT64), 0);
  const Contents before = without_dead_ids(fill_and_close());
  directory.write("store/fenra.lexicon", "");
  std::filesystem::permissions(path, std::filesystem::perms(0750));
  const auto size = std::filesystem::file_size(path + "/fenra.index");
  ASSERT_EQ(compact(), 0);
  EXPECT_THAT(listing(root), ElementsAre("store"));
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0750));
  EXPECT_LT(std::filesystem::file_size(path + "/fenra.index"), size);
  EXPECT_THAT(listing(path), ElementsAre("fenra.index", "fenra.lexicon"));
  open();
  expectContents(before);
  EXPECT_THAT(formIds("inorena"), ElementsAre());
  const guint64 last = maxId();
  ASSERT_EQ(index("http://a.eus/1", {"gero"}), 0);
  EXPECT_THAT(formIds("gero"), ElementsAre(last + 1));
  close();
  verify();
  EXPECT_EQ(compact(), 0);
  verify();
}

// What waits comes into the databases, as if it had been written there: beside what they hold, or
// to nothing. Replacements and removals reach over both.
TEST_F(CompactTest, TakesInWhatWaits) {
  const auto articles = random_articles(120, 31, true);
  const auto remove = [&](const std::string& url) {
    EXPECT_EQ(articledb_db_delete(db, url.data(), sizeOf(url)), 0);
  };
  for (const size_t before : {size_t{0}, size_t{60}}) {
    uses_journal = true;
    makeAnew();
    for (size_t i = 0; i < articles.size(); ++i) {
      indexSource(articles[i]);
      if (i % 25 == 24) {
        reopen();
      }
      if (i + 1 == before) {
        EXPECT_EQ(writeOut(), 0);
      }
    }
    for (const char* url : {"bat", "bi"}) {
      ASSERT_EQ(index(url, {"hitza"}), 0);
    }
    remove("bat");
    const guint64 last = maxId();
    close();
    const std::string copy = root + "/copy";
    std::filesystem::copy(path, copy);
    ASSERT_EQ(compact(), 0);
    EXPECT_THAT(listing(path), ElementsAre("fenra.index"));
    open();
    EXPECT_EQ(maxId(), last);
    EXPECT_THAT(formIds("hitza"), ElementsAre(last - 1));
    const Contents compacted = contents();
    close();
    verify();
    std::filesystem::remove_all(path);
    std::filesystem::rename(copy, path);
    open();
    const Contents written = without_dead_ids(contents());
    EXPECT_EQ(compacted == written, true) << before;
  }
}

// What only the log has is in the new store too.
TEST_F(CompactTest, RecoversWhatAKilledProcessHasLeft) {
  close();
  EXPECT_TRUE(getsToTheEnd([this] { EXPECT_EQ(index("u", {"hitza"}), 0); }));
  ASSERT_EQ(compact(), 0);
  open();
  EXPECT_THAT(formIds("hitza"), ElementsAre(1));
}

TEST_F(CompactTest, LeavesTheStoreAloneWhenItCannot) {
  EXPECT_EQ(compact(), EBUSY);
  const Contents before = fill_and_close();
  const auto stop = [](void*, guint64, guint64) { return 1; };
  EXPECT_EQ(articledb_bulk_compact(path.c_str(), 0, stop, nullptr), ECANCELED);
  std::filesystem::create_directory(path + "/inside");
  EXPECT_EQ(compact(), EPERM);
  EXPECT_EQ(articledb_bulk_compact((root + "/none").c_str(), 0, nullptr, nullptr), ENOENT);
  EXPECT_EQ(articledb_bulk_compact(root.c_str(), 0, nullptr, nullptr), ENOENT);
  EXPECT_THAT(listing(root), ElementsAre("store"));
  open();
  expectContents(before);
}

// An opening that waits for the compaction comes to the new store, not to the old one.
TEST_F(CompactTest, LetsOthersInToTheNewStoreOnly) {
  const Contents before = fill_and_close();
  pid_t opener = 0;
  std::function<void()> start_opener = [&] {
    if (opener == 0) {
      opener = fork();
      if (opener == 0) {
        open();
        _exit(index("u", {"gero"}));
      }
      // Long enough for it to wait for its turn; the test holds without it too.
      usleep(100000);
    }
  };
  const auto call = [](void* work, guint64, guint64) {
    (*static_cast<std::function<void()>*>(work))();
    return 0;
  };
  ASSERT_EQ(articledb_bulk_compact(path.c_str(), 0, call, &start_opener), 0);
  int status = -1;
  waitpid(opener, &status, 0);
  EXPECT_EQ(status, 0);
  open();
  EXPECT_EQ(formIds("gero").size(), 1U);
  EXPECT_EQ(contents()["urldb"].size(), before.at("urldb").size() + 1);
}

}  // namespace
