// Instances, queries and result iterators, over real stores and the embedded
// lexicon.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "facade/lexicon_record.h"
#include "tests/support/instance.h"
#include "tests/support/process.h"
#include "tests/support/repeat.h"
#include "tests/support/temporary_directory.h"

namespace ostren::fenra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FacadeTest : public testing::Test {
 protected:
  Instance Open() const {
    Instance fenra(Fenra::createInstance(store_.c_str()));
    EXPECT_EQ(fenra->error(), FENRA_NO_ERROR);
    return fenra;
  }

  static FenraErrorCode Index(Fenra* fenra, const std::string& url, const std::string& text) {
    return fenra->index(url.c_str(), text.c_str(), "text/plain");
  }

  // A process that is killed while it writes a posting, or what waits before that.
  void ANeighbourDies() const {
    EXPECT_EQ(result_of([this] {
                FenraData data(store_.c_str(), nullptr);
                data.db->formdb->put = [](DB*, DB_TXN*, DBT*, DBT*, guint32) {
                  return raise(SIGKILL);
                };
                ArticledbTransaction* const transaction = articledb_transaction_new();
                articledb_transaction_begin(transaction, data.db);
                return articledb_transaction_put_form(transaction, "hila", 4, 1);
              }),
              -SIGKILL);
  }

  const TemporaryDirectory directory_;
  const std::string store_ = directory_ / "store";
};

TEST_F(FacadeTest, WhatCannotBeOpenedGivesAClosedInstance) {
  EXPECT_EQ(Fenra::createInstance(1, store_.c_str()), nullptr);
  EXPECT_FALSE(std::filesystem::exists(store_));
  EXPECT_EQ(Instance(Fenra::createInstance(0, store_.c_str()))->error(), FENRA_NO_ERROR);
  const auto expect_closed = [](FenraBasic* fenra, FenraErrorCode error) {
    EXPECT_TRUE(fenra->isClosed());
    EXPECT_EQ(fenra->index("u", "etxe", "text/plain"), FENRA_ERROR);
    EXPECT_EQ(fenra->lookup("etxe"), nullptr);
    fenra->close();
    EXPECT_EQ(fenra->error(), error);
  };
  const std::string missing_parent = directory_ / "no/such/parent";
  for (const char* path : {missing_parent.c_str(), static_cast<const char*>(nullptr)}) {
    expect_closed(std::make_unique<FenraBasic>(path, nullptr).get(), FENRA_ERROR);
    EXPECT_EQ(Instance(Fenra::createInstance(path))->error(), FENRA_ERROR);
  }
  const std::string bad = directory_.write("bad.fst", "");
  for (const char* lexicon : {bad.c_str(), static_cast<const char*>(nullptr)}) {
    expect_closed(std::make_unique<FenraBasic>(store_.c_str(), lexicon).get(), FENRA_LEXICON_ERROR);
  }
  const Instance fenra = Open();
  fenra->close();
  expect_closed(static_cast<FenraBasic*>(fenra.get()), FENRA_NO_ERROR);
}

TEST_F(FacadeTest, RefusedArticlesWriteNothing) {
  const Instance fenra = Open();
  const struct {
    const char *url, *text, *mime;
  } refused[] = {
      {nullptr, "etxe", "text/plain"},
      {"u", nullptr, "text/plain"},
      {"u", "etxe", nullptr},
      {"u", "etxe", "text/xml"},
      {"u", "etxe", ""},
      {"u", "", "text/plain"},
      {"u", "etxe \xff", "text/plain"},
      {"u", "<p>etxe</p>", "text/html"},
  };
  for (const auto& article : refused) {
    EXPECT_EQ(fenra->index(article.url, article.text, article.mime), FENRA_ERROR);
  }
  EXPECT_THAT(answer(*fenra, "etxe"), IsEmpty());

  // Nothing was drawn or counted for them.
  EXPECT_EQ(Index(fenra.get(), "first", "etxe"), FENRA_NO_ERROR);
  fenra->close();
  const FenraData data(store_.c_str(), nullptr);
  char record[512];
  guint32 size = sizeof record;
  ASSERT_EQ(articledb_db_lookup_id_to_url(data.db, 1, record, &size), 0);
  const std::string metadata(record, size);
  for (const char* pair :
       {"first|", "source=\"\";", "date=\"\";", "lang=\"eu\";", "mime=\"text/plain\";"}) {
    EXPECT_THAT(metadata, testing::HasSubstr(pair));
  }
}

TEST_F(FacadeTest, QueriesAreSplitAtEverythingButLetters) {
  const Instance fenra = Open();
  ASSERT_EQ(Index(fenra.get(), "u:1", "etxe mendi ma ana"), FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), "u:2", "etxe"), FENRA_NO_ERROR);
  std::string unknown;  // words that differ
  std::string bytes;
  for (int i = 0; i < 300000; ++i) {
    unknown += i % 15 == 0 ? std::string("x ")
                           : std::string(1, static_cast<char>('a' + i % 26 * 7919 % 26));
    bytes += static_cast<char>(1 + i % 251 * 7919 % 251);
  }
  const std::pair<Urls, std::vector<std::string>> cases[] = {
      {{"u:1"},
       {"etxe mendi", "mendi12etxe", "  etxe--mendi! ", "etxe\tmendi\n", "'etxe','mendi'",
        "ma\u00F1ana etxe", repeat("etxe mendi;", 300000)}},
      // Neither words nor forms are case-folded.
      {{},
       {"etxe zzunknown", "zzunknown etxe", "Etxe", repeat("etxe mendi;", 300000) + "c", unknown,
        std::string(1000000, 'a'), bytes}},
  };
  for (const auto& [urls, queries] : cases) {
    for (const std::string& query : queries) {
      EXPECT_EQ(answer(*fenra, query), urls) << query.substr(0, 20);
    }
  }
  for (const char* query :
       {"", "   ", "12 34", "?!,.", "\xc3\xb1", static_cast<const char*>(nullptr)}) {
    const Results results(fenra->lookup(query));
    ASSERT_NE(results, nullptr);
    EXPECT_TRUE(static_cast<ResultIteratorBasic*>(results.get())->isClosed());
    EXPECT_EQ(results->next(), nullptr);
  }
}

TEST_F(FacadeTest, AStoreOfTheWebHasTheWordsOfTheWeb) {
  ArticledbDb* db = articledb_db_new();
  ASSERT_EQ(articledb_db_create_with_rules(db, store_.c_str(), ARTICLEDB_RULES_WEB), 0);
  ASSERT_EQ(articledb_db_close(db), 0);
  const Instance fenra = Open();
  ASSERT_EQ(fenra->index("u:1", "<p>ETXEAN ma&ntilde;ana Eremu-Izenak", nullptr), FENRA_ERROR);
  ASSERT_EQ(fenra->index("u:1", "<p>ETXEAN ma&ntilde;ana Eremu-Izenak", "text/html"),
            FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), "u:2", "izena, 1.5 eta etxe-eremu"), FENRA_NO_ERROR);
  EXPECT_EQ(fenra->index("u:3", " ", "text/html"), FENRA_ERROR);
  const std::pair<std::string, Urls> cases[] = {
      {"MA\u00D1ANA etxe", {"u:1"}},
      {"eremu-izenak", {"u:1", "u:2"}},
      {"1", {"u:2"}},
      {"1.5.1", {}},  // no number is found by its parts
      {repeat("izena eremu-etxe", 100000), {}},
      {repeat("izena eremu-etxe ", 100000), {"u:1", "u:2"}},
      {"?!", {}},
  };
  for (const auto& [query, urls] : cases) {
    EXPECT_EQ(answer(*fenra, query), urls) << query.substr(0, 40);
  }
}

// Otherwise memory would grow by kilobytes with every word of a query.
TEST_F(FacadeTest, ARepeatedWordTakesNoStream) {
  FenraData data(store_.c_str(), nullptr);
  data.index("u:1", "a b", "text/plain");
  for (const auto& [query, cuts] :
       {std::pair("a", false), {"a a-a a", false}, {"a b", true}, {"a aa", true}}) {
    OstrenGenerator* const stream = data.parse_query(query);
    EXPECT_EQ(stream->nextf == ostren_sorted_generator_cutter_next, cuts) << query;
    ostren_generator_free(stream);
  }
}

TEST_F(FacadeTest, AnIteratorOutlivesItsInstance) {
  Instance fenra = Open();
  for (const char* url : {"u:1", "u:2", "u:3"}) {
    ASSERT_EQ(Index(fenra.get(), url, "etxea"), FENRA_NO_ERROR);
  }
  const Results results(fenra->lookup("etxe"));
  const Results unread(fenra->lookup("etxe"));
  EXPECT_STREQ(results->next(), "u:1");
  fenra.reset();
  EXPECT_THAT(rest_of(results), ElementsAre("u:2", "u:3"));
  EXPECT_TRUE(static_cast<ResultIteratorBasic*>(results.get())->isClosed());
  EXPECT_EQ(results->next(), nullptr);
}

TEST_F(FacadeTest, RecordsThatDoNotFitOrHaveNoMetadataAreSkipped) {
  const Instance fenra = Open();
  // The metadata of every article, and the '|' in front of it.
  const size_t packed = strlen("|mime=\"text/plain\";lang=\"eu\";date=\"\";source=\"\";");
  const std::string fits(ResultIteratorBasic::URL_BUFFER_SIZE - packed, 'x');
  for (const std::string& url : {fits, fits + "y", std::string("u:a|b"), std::string("u:last")}) {
    ASSERT_EQ(Index(fenra.get(), url, "etxe"), FENRA_NO_ERROR);
  }
  EXPECT_THAT(answer(*fenra, "etxe"), ElementsAre(fits, "u:a", "u:last"));
}

// ---- several users of one store ----

TEST_F(FacadeTest, AnAnswerGoesOnWhileOthersIndexAndDie) {
  const Instance reader = Open();
  const Instance other = Open();
  int indexed = 0;
  const auto index_next = [&](const Instance& writer) {
    return Index(writer.get(), "u:" + std::to_string(++indexed), "etxea eta mendia, mendian");
  };
  while (indexed < 20) {
    ASSERT_EQ(index_next(reader), FENRA_NO_ERROR);
  }
  const Results results(reader->lookup("etxe mendiak"));
  int place = 0;
  while (const char* url = results->next()) {
    ASSERT_EQ(url, "u:" + std::to_string(++place));
    if (place % 10 == 5) {
      ANeighbourDies();
    } else if (indexed < 80) {
      ASSERT_EQ(index_next(place % 2 == 0 ? reader : other), FENRA_NO_ERROR);
      const std::string next = "u:" + std::to_string(++indexed);
      ASSERT_EQ(
          result_of([&] { return static_cast<int>(Index(Open().get(), next, "etxea mendia")); }),
          FENRA_NO_ERROR);
    }
  }
  EXPECT_EQ(place, indexed);
}

TEST_F(FacadeTest, AnInstanceStaysOnItsStoreWhereverTheProcessGoes) {
  ASSERT_TRUE(std::filesystem::create_directory(store_));
  const auto place = std::filesystem::current_path();
  std::filesystem::current_path(directory_.path());
  const Instance relative(Fenra::createInstance("store"));
  std::filesystem::current_path(place);
  ANeighbourDies();
  ASSERT_EQ(Index(relative.get(), "u:1", "etxe"), FENRA_NO_ERROR);
  EXPECT_THAT(answer(*Open(), "etxe"), ElementsAre("u:1"));
}

// ---- the lexicon and its file ----

TEST_F(FacadeTest, NotesEachLexiconOnce) {
  const std::string record = std::string("store/") + LEXICON_RECORD;
  Open();
  const std::string own = lexiconVersion() + "\n";
  EXPECT_EQ(directory_.read(record), own);
  directory_.write(record, "00000000\n");
  Open();
  Open();
  EXPECT_EQ(directory_.read(record), "00000000\n" + own);
  // Nor elsewhere.
  directory_.write("letter", "");
  std::filesystem::remove(directory_ / record);
  std::filesystem::create_symlink("../letter", directory_ / record);
  record_lexicon(store_.c_str());
  EXPECT_EQ(directory_.read("letter"), "");
}

TEST(TemporaryFileTest, IsItsOwnersAloneAndGoesAway) {
  const unsigned char content[] = {1, 0, 2, 0xff};
  std::string name;
  // Without a descriptor to spare it cannot be opened by that, and has a name in a directory.
  for (const bool named : {false, true}) {
    rlimit old = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &old), 0);
    const int next = dup(STDIN_FILENO);
    close(next);
    const rlimit one = {static_cast<rlim_t>(next) + 1, old.rlim_max};
    ASSERT_EQ(named ? setrlimit(RLIMIT_NOFILE, &one) : 0, 0);
    {
      const TmpFile file(content, sizeof content);
      ASSERT_NE(file.name(), nullptr);
      name = file.name();
      EXPECT_EQ(name.find("fst_") != std::string::npos, named);
      struct stat status;
      ASSERT_EQ(stat(file.name(), &status), 0);
      EXPECT_EQ(status.st_mode & 0777, 0600U);
      EXPECT_EQ(status.st_size, 4);
    }
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &old), 0);
  }
}

// Exits with what `work` returns in one more process, where the temporary directory has
// the given name; it becomes empty again.
[[noreturn]] void ExitFrom(const std::string& name, const std::function<int()>& work) {
  int status;
  {
    const TemporaryDirectory directory;
    const std::string tmp = directory / name;
    if (name != "missing") {
      std::filesystem::create_directory(tmp);
    }
    setenv("TMPDIR", tmp.c_str(), 1);
    status = result_of(work);
    status = name == "missing" || std::filesystem::is_empty(tmp) ? status : 99;
  }
  _exit(status == -SIGKILL ? 0 : status);
}

// GLib reads TMPDIR once a process, so each case is a process of its own.
TEST(TemporaryFileTest, TheTemporaryDirectoryDecidesAndStaysEmpty) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto killed_with_file = [] {
    const TmpFile file(fstContent, fstContentSize);
    return file.name() == nullptr ? 1 : raise(SIGKILL);
  };
  const auto instance_beside_it = [] {
    const auto store = std::filesystem::path(g_get_tmp_dir()).parent_path() / "store";
    return static_cast<int>(Instance(Fenra::createInstance(store.c_str()))->error());
  };
  EXPECT_EXIT(ExitFrom("missing", instance_beside_it), testing::ExitedWithCode(FENRA_LEXICON_ERROR),
              "");
  // A name with ".att" in it would be taken for AT&T text.
  EXPECT_EXIT(ExitFrom("tmp.attic", instance_beside_it), testing::ExitedWithCode(FENRA_NO_ERROR),
              "");
  EXPECT_EXIT(ExitFrom("tmp", killed_with_file), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace ostren::fenra
