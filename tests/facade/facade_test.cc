// Instances, queries and result iterators, over real stores and the embedded
// lexicon.
#include "facade/fenra.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/temporary_directory.h"

namespace ostren {
namespace fenra {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Instance = std::unique_ptr<Fenra>;
using Results = std::unique_ptr<ResultIterator>;
using Urls = std::vector<std::string>;

Urls Drain(ResultIterator* results) {
  Urls urls;
  while (const char* url = results->next()) {
    urls.push_back(url);
  }
  return urls;
}

Urls Search(Fenra* fenra, const char* query) { return Drain(Results(fenra->lookup(query)).get()); }

class FacadeTest : public testing::Test {
 protected:
  Instance Open() { return Instance(Fenra::createInstance(store_.c_str())); }

  static FenraErrorCode Index(Fenra* fenra, const std::string& url, const std::string& text) {
    return fenra->index(url.c_str(), text.c_str(), "text/plain");
  }

  TemporaryDirectory directory_;
  const std::string store_ = directory_ / "store";
};

TEST_F(FacadeTest, OnlyKindZeroExists) {
  for (int kind : {1, -1, 7}) {
    EXPECT_EQ(Fenra::createInstance(kind, store_.c_str()), nullptr);
  }
  EXPECT_FALSE(std::filesystem::exists(store_));
  EXPECT_EQ(Instance(Fenra::createInstance(0, store_.c_str()))->error(), FENRA_NO_ERROR);
}

TEST_F(FacadeTest, CreatesThenReopensAStore) {
  {
    const Instance fenra = Open();
    ASSERT_EQ(fenra->error(), FENRA_NO_ERROR);
    ASSERT_EQ(Index(fenra.get(), "u:1", "Gure etxea zuria da"), FENRA_NO_ERROR);
  }
  const Instance again = Open();
  ASSERT_EQ(again->error(), FENRA_NO_ERROR);
  ASSERT_EQ(Index(again.get(), "u:2", "etxeak"), FENRA_NO_ERROR);
  EXPECT_THAT(Search(again.get(), "etxea"), ElementsAre("u:1", "u:2"));
}

TEST_F(FacadeTest, AStoreThatCannotBeMadeGivesAClosedInstance) {
  const std::string missing_parent = directory_ / "no/such/parent";
  for (const char* path : {missing_parent.c_str(), static_cast<const char*>(nullptr)}) {
    const Instance fenra(Fenra::createInstance(path));
    EXPECT_EQ(fenra->error(), FENRA_ERROR);
    EXPECT_EQ(fenra->index("u", "etxe", "text/plain"), FENRA_ERROR);
    EXPECT_EQ(fenra->lookup("etxe"), nullptr);
    fenra->close();
    EXPECT_EQ(fenra->error(), FENRA_ERROR);
  }
}

TEST_F(FacadeTest, ClosingKeepsTheErrorStateAndIsRepeatable) {
  const Instance fenra = Open();
  fenra->close();
  fenra->close();
  EXPECT_EQ(fenra->error(), FENRA_NO_ERROR);
  EXPECT_EQ(Index(fenra.get(), "u", "etxe"), FENRA_ERROR);
  EXPECT_EQ(fenra->lookup("etxe"), nullptr);
}

TEST_F(FacadeTest, ALexiconThatCannotBeLoadedClosesTheStoreAgain) {
  const std::string bad = directory_ / "bad.fst";
  ASSERT_EQ(fclose(fopen(bad.c_str(), "wb")), 0);
  for (const char* lexicon : {bad.c_str(), static_cast<const char*>(nullptr)}) {
    FenraBasic fenra(store_.c_str(), lexicon);
    EXPECT_TRUE(fenra.isClosed());
    EXPECT_EQ(fenra.error(), FENRA_LEXICON_ERROR);
    EXPECT_EQ(fenra.index("u", "etxe", "text/plain"), FENRA_ERROR);
  }
  EXPECT_EQ(Open()->error(), FENRA_NO_ERROR);
}

TEST_F(FacadeTest, RefusedArticlesWriteNothing) {
  const Instance fenra = Open();
  const struct {
    const char* url;
    const char* text;
    const char* mime;
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
  EXPECT_THAT(Search(fenra.get(), "etxe"), IsEmpty());

  // Nothing was drawn or counted for them.
  EXPECT_EQ(Index(fenra.get(), "first", "etxe"), FENRA_NO_ERROR);
  fenra->close();
  ArticledbDb* db = articledb_db_new();
  ASSERT_EQ(articledb_db_open(db, store_.c_str()), 0);
  guint64 id = 0;
  EXPECT_EQ(articledb_db_max_id(db, &id), 0);
  EXPECT_EQ(id, 1U);
  char record[512];
  guint32 size = sizeof record;
  ASSERT_EQ(articledb_db_lookup_id_to_url(db, id, record, &size), 0);
  const std::string metadata(record, size);
  EXPECT_EQ(metadata.substr(0, 6), "first|");
  for (const char* pair : {"source=\"\";", "date=\"\";", "lang=\"eu\";", "mime=\"text/plain\";"}) {
    EXPECT_THAT(metadata, testing::HasSubstr(pair));
  }
  EXPECT_EQ(articledb_db_close(db), 0);
}

TEST_F(FacadeTest, HtmlAndPlainTextAreSearchedAlike) {
  const Instance fenra = Open();
  ASSERT_EQ(fenra->index("u:html",
                         "<html><head><title>etxe zuria</title></head><body><p>mendian</p></body>",
                         "TEXT/HTML; charset=utf-8"),
            FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), "u:plain", "mendia eta etxea"), FENRA_NO_ERROR);
  EXPECT_THAT(Search(fenra.get(), "etxe mendi"), ElementsAre("u:html", "u:plain"));
}

TEST_F(FacadeTest, QueriesAreSplitAtEverythingButLetters) {
  const Instance fenra = Open();
  ASSERT_EQ(Index(fenra.get(), "u:1", "etxe mendi ma ana"), FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), "u:2", "etxe"), FENRA_NO_ERROR);
  for (const char* query : {"etxe mendi", "mendi12etxe", "  etxe--mendi! ", "etxe\tmendi\n",
                            "'etxe','mendi'", "etxe mendi etxe",
                            "ma\xc3\xb1"
                            "ana etxe"}) {
    EXPECT_THAT(Search(fenra.get(), query), ElementsAre("u:1")) << query;
  }
  EXPECT_THAT(Search(fenra.get(), "etxe zzunknown"), IsEmpty());
  EXPECT_THAT(Search(fenra.get(), "zzunknown etxe"), IsEmpty());
  // Neither words nor forms are case-folded.
  EXPECT_THAT(Search(fenra.get(), "Etxe"), IsEmpty());
}

// Otherwise memory would grow by kilobytes with every word of a query.
TEST_F(FacadeTest, ARepeatedWordTakesNoStream) {
  FenraData data(store_.c_str(), nullptr);
  data.index("u:1", "a b", "text/plain");
  const auto is_cutter = [&](const char* query) {
    OstrenGenerator* const stream = data.parse_query(query);
    const bool cutter = stream->nextf == ostren_sorted_generator_cutter_next;
    ostren_generator_free(stream);
    return cutter;
  };
  EXPECT_FALSE(is_cutter("a"));
  EXPECT_FALSE(is_cutter("a a-a a"));
  EXPECT_TRUE(is_cutter("a b"));
  EXPECT_TRUE(is_cutter("a aa"));
}

TEST_F(FacadeTest, HostileQueriesAreAnswered) {
  const Instance fenra = Open();
  ASSERT_EQ(Index(fenra.get(), "u:1", "a b"), FENRA_NO_ERROR);
  std::string words;
  for (int i = 0; i < 300000; ++i) {
    words += "a b;";
  }
  std::string unknown;  // words that differ
  for (int i = 0; i < 20000; ++i) {
    for (int rest = i; rest > 0; rest /= 26) {
      unknown += static_cast<char>('a' + rest % 26);
    }
    unknown += "x ";
  }
  std::string bytes;
  for (int i = 0; i < 300000; ++i) {
    bytes += static_cast<char>(1 + i % 251 * 7919 % 251);
  }
  const std::pair<std::string, Urls> cases[] = {
      {words, {"u:1"}}, {words + "c", {}}, {unknown, {}}, {std::string(1000000, 'a'), {}},
      {bytes, {}},
  };
  for (const auto& [query, urls] : cases) {
    EXPECT_EQ(Search(fenra.get(), query.c_str()), urls) << query.substr(0, 20);
  }
}

TEST_F(FacadeTest, AQueryWithoutWordsHasAnEmptyAnswer) {
  const Instance fenra = Open();
  ASSERT_EQ(Index(fenra.get(), "u:1", "etxe"), FENRA_NO_ERROR);
  for (const char* query :
       {"", "   ", "12 34", "?!,.", "\xc3\xb1", static_cast<const char*>(nullptr)}) {
    const Results results(fenra->lookup(query));
    ASSERT_NE(results, nullptr);
    EXPECT_TRUE(static_cast<ResultIteratorBasic*>(results.get())->isClosed());
    EXPECT_EQ(results->next(), nullptr);
    EXPECT_EQ(results->next(), nullptr);
  }
}

TEST_F(FacadeTest, AnIteratorOutlivesItsInstance) {
  Instance fenra = Open();
  for (int i = 1; i <= 3; ++i) {
    ASSERT_EQ(Index(fenra.get(), "u:" + std::to_string(i), "etxea"), FENRA_NO_ERROR);
  }
  const Results results(fenra->lookup("etxe"));
  const Results unread(fenra->lookup("etxe"));
  EXPECT_STREQ(results->next(), "u:1");
  fenra.reset();
  EXPECT_THAT(Drain(results.get()), ElementsAre("u:2", "u:3"));
  EXPECT_TRUE(static_cast<ResultIteratorBasic*>(results.get())->isClosed());
  EXPECT_EQ(results->next(), nullptr);
}

TEST_F(FacadeTest, TheLastReferenceClosesTheStore) {
  auto* data = new FenraData(store_.c_str(), nullptr);
  EXPECT_EQ(data->refCount, 0);
  EXPECT_EQ(data->error(), FENRA_LEXICON_ERROR);
  data->incRef();
  {
    ResultIteratorBasic closed_by_hand(nullptr, data);
    ResultIteratorBasic never_read(ostren_empty_generator_new(), data);
    EXPECT_EQ(data->refCount, 3);
    closed_by_hand.close();
    closed_by_hand.close();
    EXPECT_EQ(data->refCount, 2);
  }
  EXPECT_EQ(data->refCount, 1);
  data->decRef();
}

TEST_F(FacadeTest, AReplacedArticleIsFoundUnderItsNewWordsOnly) {
  const Instance fenra = Open();
  ASSERT_EQ(Index(fenra.get(), "u:1", "mendia"), FENRA_NO_ERROR);
  for (const char* text : {"etxea", "etxeak", "etxeetan ura", "etxea ura"}) {
    ASSERT_EQ(Index(fenra.get(), "u:2", text), FENRA_NO_ERROR);
  }
  EXPECT_THAT(Search(fenra.get(), "etxe"), ElementsAre("u:2"));
  ASSERT_EQ(Index(fenra.get(), "u:2", "mendian"), FENRA_NO_ERROR);
  EXPECT_THAT(Search(fenra.get(), "etxe"), IsEmpty());
  EXPECT_THAT(Search(fenra.get(), "mendi"), ElementsAre("u:1", "u:2"));
}

TEST_F(FacadeTest, RecordsThatDoNotFitOrHaveNoMetadataAreSkipped) {
  const Instance fenra = Open();
  // The metadata of every article, and the '|' in front of it.
  const size_t packed = strlen("|mime=\"text/plain\";lang=\"eu\";date=\"\";source=\"\";");
  const std::string fits(ResultIteratorBasic::URL_BUFFER_SIZE - packed, 'x');
  ASSERT_EQ(Index(fenra.get(), fits, "etxe"), FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), fits + "y", "etxe"), FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), "u:a|b", "etxe"), FENRA_NO_ERROR);
  ASSERT_EQ(Index(fenra.get(), "u:last", "etxe"), FENRA_NO_ERROR);
  EXPECT_THAT(Search(fenra.get(), "etxe"), ElementsAre(fits, "u:a", "u:last"));
}

TEST_F(FacadeTest, NotesEachLexiconOnce) {
  const std::string record = store_ + "/" + LEXICON_RECORD;
  const auto lines = [&record] {
    std::ifstream file(record);
    return std::string(std::istreambuf_iterator<char>(file), {});
  };
  EXPECT_EQ(Open()->error(), FENRA_NO_ERROR);
  const std::string own = lexiconVersion() + "\n";
  EXPECT_EQ(lines(), own);
  std::ofstream(record) << "00000000\n";
  EXPECT_EQ(Open()->error(), FENRA_NO_ERROR);
  EXPECT_EQ(Open()->error(), FENRA_NO_ERROR);
  EXPECT_EQ(lines(), "00000000\n" + own);
}

class TemporaryFileTest : public testing::Test {
 protected:
  static size_t FilesIn(const std::string& path) {
    const std::filesystem::directory_iterator files(path);
    return static_cast<size_t>(std::distance(begin(files), end(files)));
  }
};

TEST_F(TemporaryFileTest, HoldsTheContentForItsOwnerAndGoesAway) {
  const unsigned char content[] = {1, 0, 2, 0xff};
  std::string name;
  {
    const TmpFile file(content, sizeof content);
    ASSERT_NE(file.name(), nullptr);
    name = file.name();
    const TmpFile other(content, sizeof content);
    EXPECT_STRNE(other.name(), file.name());
    struct stat status;
    ASSERT_EQ(stat(file.name(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(status.st_size, 4);
  }
  EXPECT_FALSE(std::filesystem::exists(name));
}

// GLib reads TMPDIR once a process, so each case is a process of its own.
TEST_F(TemporaryFileTest, TheTemporaryDirectoryDecides) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const TemporaryDirectory directory;
  const auto create = [&directory](const std::string& tmp) {
    setenv("TMPDIR", tmp.c_str(), 1);
    const Instance fenra(Fenra::createInstance((directory / "store").c_str()));
    _exit(fenra->error());
  };
  EXPECT_EXIT(create(directory / "missing"), testing::ExitedWithCode(FENRA_LEXICON_ERROR), "");

  const std::string tmp = directory / "tmp";
  ASSERT_TRUE(std::filesystem::create_directory(tmp));
  EXPECT_EXIT(create(tmp), testing::ExitedWithCode(FENRA_NO_ERROR), "");
  EXPECT_EQ(FilesIn(tmp), 0U);

  // A name with ".att" in it would be taken for AT&T text.
  const std::string attic = directory / "tmp.attic";
  ASSERT_TRUE(std::filesystem::create_directory(attic));
  EXPECT_EXIT(create(attic), testing::ExitedWithCode(FENRA_NO_ERROR), "");
}

TEST(EmbeddedLexiconTest, IsAGzipFileAsTheSaverWritesIt) {
  ASSERT_GT(fstContentSize, 10U);
  EXPECT_EQ(lexiconVersion().size(), 8U);
  const std::vector<int> header(fstContent, fstContent + 10);
  EXPECT_THAT(header, ElementsAre(0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 2, 3));
}

}  // namespace
}  // namespace fenra
}  // namespace ostren
