// Stores that are built from many articles at once, compared with those that were
// indexed one article after the other.
#include "store/articledb_bulk.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <random>

#include "store/layout/schema.h"
#include "tests/store/store_fixture.h"

namespace {

using ostren::fenra::store::DATABASES;
using ostren::fenra::store::DatabaseSpec;
using testing::ElementsAre;

using Pairs = std::vector<std::pair<std::string, std::string>>;

// One article as both ways of indexing take it.
struct Source {
  std::map<std::string, std::string> values;
  Strings tokens;
  int end = ARTICLEDB_TOKEN_END;
  guint length = 10;
};

Source article(const std::string& url, Strings tokens, const std::string& text = "testua") {
  return {articleValues(url, text), std::move(tokens)};
}

// Two lemmas for some forms, none for others.
GList* lemmatize(void*, const char* form, int length) {
  const std::string word(form, static_cast<size_t>(length));
  GList* lemmas = articledb_string_list_new();
  if (length % 3 != 0) {
    lemmas = articledb_string_list_prepend(lemmas, word.substr(0, word.size() / 2).c_str());
  }
  if (length % 2 == 0) {
    lemmas = articledb_string_list_prepend(lemmas, "lema");
  }
  return lemmas;
}

// The pairs of a database, by key; those of one key in the database's order.
Pairs contents(ArticledbDb* db, const DatabaseSpec& spec) {
  Pairs pairs;
  DB* database = db->*spec.field;
  DBC* cursor = nullptr;
  EXPECT_EQ(database->cursor(database, nullptr, &cursor, 0), 0);
  DBT key = {};
  DBT data = {};
  int ret;
  while ((ret = cursor->get(cursor, &key, &data, DB_NEXT)) == 0) {
    pairs.emplace_back(std::string(static_cast<char*>(key.data), key.size),
                       std::string(static_cast<char*>(data.data), data.size));
  }
  EXPECT_EQ(ret, DB_NOTFOUND);
  cursor->close(cursor);
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  return pairs;
}

struct BulkReleaser {
  void operator()(ArticledbBulk* bulk) const { articledb_bulk_free(bulk); }
};
using Bulk = std::unique_ptr<ArticledbBulk, BulkReleaser>;

class BulkTest : public StoreTest {
 protected:
  std::string target() const { return root + "/bulk"; }

  Strings listing() const {
    Strings names;
    for (const auto& entry : std::filesystem::directory_iterator(root)) {
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

  // Prepares and adds an article; returns what its preparation gave.
  static int add(ArticledbBulk* bulk, const Source& source) {
    TokenList tokens = {source.tokens, source.end};
    ArticledbBulkArticle* prepared = nullptr;
    const int status =
        articledb_bulk_prepare(Metadata(source.values, source.length), TokenList::pull, &tokens,
                               lemmatize, nullptr, &prepared);
    if (prepared != nullptr) {
      EXPECT_EQ(articledb_bulk_add(bulk, prepared, nullptr), 0);
    }
    return status;
  }

  // Indexes the articles both ways, expects the same of both, and leaves the built store
  // open.
  void expect_equal(const std::vector<Source>& sources, guint64 memory) {
    const Bulk bulk = begin_bulk(memory);
    for (const Source& source : sources) {
      const int status =
          index(Metadata(source.values, source.length), {source.tokens, source.end}, lemmatize);
      EXPECT_EQ(add(bulk.get(), source), status);
    }
    EXPECT_EQ(articledb_bulk_finish(bulk.get(), nullptr, nullptr), 0);
    // Nothing waits in the journal.
    EXPECT_EQ(maxId() == 0, sources.empty());
    std::vector<Pairs> expected;
    for (const DatabaseSpec& spec : DATABASES) {
      expected.push_back(contents(db, spec));
    }
    open_built();
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(contents(db, DATABASES[i]) == expected[i], true) << DATABASES[i].name;
    }
  }

  void open_built() {
    path = target();
    reopen();
  }
};

// Words of a small vocabulary and some that are met once, in all lengths that matter.
std::vector<Source> random_articles(int count, unsigned seed) {
  std::mt19937 random(seed);
  const auto below = [&random](unsigned bound) { return random() % bound; };
  std::vector<Source> articles;
  for (int i = 0; i < count; ++i) {
    Strings tokens;
    for (unsigned left = below(120); left > 0; --left) {
      const unsigned kind = below(40);
      tokens.push_back(kind == 0   ? std::string(60 + below(10), 'l')
                       : kind == 1 ? "bakarra" + std::to_string(random())
                       : kind == 2 ? std::string("a\0b", 3)
                       : kind == 3 ? std::string("\0", 1)
                                   : "w" + std::to_string(below(12) * below(12)));
    }
    Source source = article("http://a.eus/" + std::to_string(below(static_cast<unsigned>(count))),
                            std::move(tokens), std::string(below(3000), 'x') + std::to_string(i));
    source.values["date"] = below(4) == 0 ? "" : std::to_string(20260101 + below(5));
    source.values["source"] = std::string(below(3), 's');
    if (below(10) == 0) {
      source.values.erase(below(2) == 0 ? "lang" : "_txt");
    }
    if (below(10) == 0) {
      source.end = -1;
    }
    articles.push_back(std::move(source));
  }
  return articles;
}

struct Limits {
  const char* name;
  guint64 memory;
  int articles;
};

void PrintTo(const Limits& limits, std::ostream* out) { *out << limits.name; }

class BulkEqualityTest : public BulkTest, public testing::WithParamInterface<Limits> {};

// With little memory every article is a run of its own, and runs are merged to runs.
INSTANTIATE_TEST_SUITE_P(Memory, BulkEqualityTest,
                         testing::Values(Limits{"OneRun", 0, 300}, Limits{"SomeRuns", 100000, 300},
                                         Limits{"RunsOfRuns", 1, 200}),
                         [](const auto& limits) { return limits.param.name; });

TEST_P(BulkEqualityTest, HasTheContentsOfIndexingOneByOne) {
  expect_equal(random_articles(GetParam().articles, 7), GetParam().memory);
  EXPECT_THAT(listing(), ElementsAre("bulk", "store"));
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
    EXPECT_THAT(listing(), ElementsAre("bulk.fenra-build", "store"));
  }
  EXPECT_THAT(listing(), ElementsAre("store"));

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
  ASSERT_NE(open((target() + "/letter").c_str(), O_CREAT | O_WRONLY, 0600), -1);
  EXPECT_EQ(articledb_bulk_finish(first.get(), nullptr, nullptr), EEXIST);
  EXPECT_EQ(std::filesystem::exists(target() + "/letter"), true);
}

// ---- compaction ----

class CompactTest : public BulkTest {
 protected:
  // Fills the store one by one and closes it; returns its contents.
  std::vector<Pairs> fill_and_close() {
    for (const Source& source : random_articles(400, 11)) {
      index(Metadata(source.values, source.length), {source.tokens, source.end}, lemmatize);
    }
    std::vector<Pairs> all = contents_of_all();
    close();
    return all;
  }

  std::vector<Pairs> contents_of_all() const {
    std::vector<Pairs> all;
    for (const DatabaseSpec& spec : DATABASES) {
      all.push_back(contents(db, spec));
    }
    return all;
  }

  void expect_contents(const std::vector<Pairs>& expected) {
    reopen();
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(contents(db, DATABASES[i]) == expected[i], true) << DATABASES[i].name;
    }
  }

  int compact() const { return articledb_bulk_compact(path.c_str(), 1, nullptr, nullptr); }

  void write_file(const std::string& name) const { std::ofstream(path + "/" + name) << name; }
};

TEST_F(CompactTest, KeepsTheContentsAndOtherFiles) {
  const std::vector<Pairs> before = fill_and_close();
  write_file("fenra.lexicon");
  std::filesystem::permissions(path, std::filesystem::perms(0750));
  const auto size = std::filesystem::file_size(path + "/fenra.index");
  ASSERT_EQ(compact(), 0);
  EXPECT_THAT(listing(), ElementsAre("store"));
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0750));
  EXPECT_LT(std::filesystem::file_size(path + "/fenra.index"), size);
  Strings files;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    files.push_back(entry.path().filename());
  }
  EXPECT_THAT(files, testing::UnorderedElementsAre("fenra.index", "fenra.lexicon"));
  expect_contents(before);
  const guint64 last = maxId();
  ASSERT_EQ(index("http://a.eus/1", {"gero"}), 0);
  EXPECT_THAT(formIds("gero"), ElementsAre(last + 1));
  close();
  verify();
  EXPECT_EQ(compact(), 0);
  verify();
}

// What only the log has is in the new store too.
TEST_F(CompactTest, RecoversWhatAKilledProcessHasLeft) {
  close();
  const pid_t writer = fork();
  if (writer == 0) {
    reopen();
    _exit(index("u", {"hitza"}) == 0 ? 0 : 1);
  }
  int status = 0;
  waitpid(writer, &status, 0);
  ASSERT_EQ(status, 0);
  ASSERT_EQ(compact(), 0);
  reopen();
  EXPECT_THAT(formIds("hitza"), ElementsAre(1));
}

TEST_F(CompactTest, LeavesTheStoreAloneWhenItCannot) {
  EXPECT_EQ(compact(), EBUSY);
  const std::vector<Pairs> before = fill_and_close();
  const auto stop = [](void*, guint64, guint64) { return 1; };
  EXPECT_EQ(articledb_bulk_compact(path.c_str(), 0, stop, nullptr), ECANCELED);
  std::filesystem::create_directory(path + "/inside");
  EXPECT_EQ(compact(), EPERM);
  EXPECT_EQ(articledb_bulk_compact((root + "/none").c_str(), 0, nullptr, nullptr), ENOENT);
  EXPECT_EQ(articledb_bulk_compact(root.c_str(), 0, nullptr, nullptr), ENOENT);
  EXPECT_THAT(listing(), ElementsAre("store"));
  expect_contents(before);
}

// An opening that waits for the compaction comes to the new store, not to the old one.
TEST_F(CompactTest, LetsOthersInToTheNewStoreOnly) {
  const std::vector<Pairs> before = fill_and_close();
  pid_t opener = 0;
  struct State {
    const std::function<pid_t()> fork_opener;
    pid_t* opener;
  };
  State state = {[&] {
                   const pid_t child = fork();
                   if (child == 0) {
                     reopen();
                     _exit(index("u", {"gero"}) == 0 ? 0 : 1);
                   }
                   return child;
                 },
                 &opener};
  const auto start_opener = [](void* opaque, guint64, guint64) {
    auto* const begun = static_cast<State*>(opaque);
    if (*begun->opener == 0) {
      *begun->opener = begun->fork_opener();
      // Long enough for it to stand at the door; the test holds without it too.
      usleep(100000);
    }
    return 0;
  };
  ASSERT_EQ(articledb_bulk_compact(path.c_str(), 0, start_opener, &state), 0);
  int status = 0;
  waitpid(opener, &status, 0);
  EXPECT_EQ(status, 0);
  reopen();
  EXPECT_EQ(formIds("gero").size(), 1U);
  EXPECT_EQ(contents(db, DATABASES[0]).size(), before[0].size() + 1);
}

}  // namespace
