// Articles that wait in the journal for being written to the databases.
#include <sys/resource.h>

#include "base/failed.h"
#include "store/layout/store_files.h"
#include "store/reading/prefix_scan.h"
#include "store/waiting/journal_article.h"
#include "store/waiting/journal_file.h"
#include "store/waiting/segment_list.h"
#include "tests/store/contents.h"

namespace {

using namespace ostren::fenra;
using namespace ostren::fenra::store;

// ---- the file ----

class JournalFileTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(open(true), 0); }

  int open(bool create) {
    return status_of([&] { file = JournalFile::open(directory.path().c_str(), create); });
  }

  // Returns the offset behind the record.
  guint64 write(guint64 offset, guint64 id, const std::string& payload) const {
    std::string record = std::string(JOURNAL_RECORD_HEADER_BYTES, '-') + payload;
    file->write(offset, id, &record);
    return offset + record.size();
  }

  using Records = std::vector<std::pair<guint64, std::string>>;
  Records read(guint64 end = JournalFile::MOST_BYTES) const {
    std::string bytes;
    Records records;
    for (const auto& record : file->read(JournalFile::BEGIN, end, &bytes)) {
      records.emplace_back(record.id, record.payload);
    }
    return records;
  }

  std::string contents() const { return directory.read("fenra.journal"); }
  void overwrite(const std::string& bytes) const { directory.write("fenra.journal", bytes); }
  void remove() const { JournalFile::remove(directory.path().c_str()); }

  const TemporaryDirectory directory;
  std::unique_ptr<JournalFile> file;
};

TEST_F(JournalFileTest, ARoundEndsWhereTheIdsDo) {
  guint64 end = JournalFile::BEGIN;
  for (guint64 id = 1; id <= 4; ++id) {
    end = write(end, id, "zaharra");
  }
  const Records old = {{1, "zaharra"}, {2, "zaharra"}, {3, "zaharra"}, {4, "zaharra"}};
  EXPECT_EQ(read(), old);
  EXPECT_EQ(read(end - 1), Records(old.begin(), old.end() - 1));
  // Of the same length: what comes behind is a whole record of the round before.
  write(JournalFile::BEGIN, 5, "berria!");
  EXPECT_EQ(read(), (Records{{5, "berria!"}}));
  write(JournalFile::BEGIN, 6, "luzeago den bat");
  EXPECT_EQ(read(), (Records{{6, "luzeago den bat"}}));
}

// A new file whose name could not be brought to the disk is not taken for a safe one by the
// next opening. There is a descriptor for the file here and none for the directory.
TEST_F(JournalFileTest, ItsNameIsBroughtToTheDiskBeforeItIsUsed) {
  file.reset();
  remove();
  const int next = dup(0);
  close(next);
  struct rlimit usual = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &usual), 0);
  const struct rlimit low = {static_cast<rlim_t>(next) + 1, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  const int first = open(true);
  const int second = open(true);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &usual), 0);
  EXPECT_EQ(first, EMFILE);
  EXPECT_EQ(second, EMFILE);
  EXPECT_EQ(open(true), 0);
  EXPECT_NE(file, nullptr);
}

TEST_F(JournalFileTest, WhatIsDamagedEndsIt) {
  const std::string payload(100, 'x');
  std::vector<guint64> ends = {JournalFile::BEGIN};
  for (guint64 id = 1; id <= 3; ++id) {
    ends.push_back(write(ends.back(), id, payload));
  }
  const std::string whole = contents();
  for (guint64 place = JournalFile::BEGIN; place < ends.back(); ++place) {
    const auto before =
        static_cast<size_t>(std::upper_bound(ends.begin(), ends.end(), place) - ends.begin() - 1);
    overwrite(whole.substr(0, place));
    ASSERT_THAT(read(), SizeIs(before)) << "cut at " << place;
    std::string damaged = whole;
    damaged[place] = static_cast<char>(damaged[place] ^ (1 << place % 8));
    overwrite(damaged);
    ASSERT_THAT(read(), SizeIs(before)) << "changed at " << place;
  }
}

// The image of a record that stands where one could begin is none.
TEST_F(JournalFileTest, APayloadIsNoRecord) {
  write(JournalFile::BEGIN, 9, "barrukoa");
  const std::string image = contents().substr(JournalFile::BEGIN, 24);
  file.reset();
  remove();
  ASSERT_EQ(open(true), 0);
  // What follows a short record is the middle of the longer one before.
  write(JournalFile::BEGIN, 1, std::string(8, '-') + image);
  write(JournalFile::BEGIN, 2, std::string(8, '-'));
  EXPECT_THAT(read(), SizeIs(1));
}

TEST_F(JournalFileTest, OtherFilesAreRefused) {
  for (const std::string& bytes : {std::string(4096, 'x'), std::string("fenraj2\0saltsalt", 16)}) {
    overwrite(bytes);
    EXPECT_EQ(open(false), EPROTO);
  }
  // The making of a file was cut short.
  for (const std::string& bytes : {std::string(), std::string("fen"), std::string(4096, '\0')}) {
    overwrite(bytes);
    EXPECT_EQ(open(false), 0);
    EXPECT_EQ(file, nullptr);
  }
  remove();
  remove();
}

// ---- in a store ----

class JournalTest : public ContentsTest {
 protected:
  JournalTest() { uses_journal = true; }

  // What the databases hold without what waits.
  bool isInDatabases(const std::string& form) const {
    DBT key = input_item(form);
    DBT data = ignored_item();
    return db->formdb->get(db->formdb, nullptr, &key, &data, 0) == 0;
  }

  size_t countSegments() const {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      count += is_segment_name(entry.path().filename().string()) ? 1 : 0;
    }
    return count;
  }
};

TEST_F(JournalTest, LookupsFindWhatWaitsWhereItWaits) {
  const std::string trigram("bat\0bi\0hiru\0", 12);
  Handle other = another();
  guint64 last = 0;
  guint64 id = 0;
  const std::vector<std::function<bool()>> lookups = {
      [&] { return formIds("bat").size() == last; },
      [&] { return dups(lookup(articledb_db_lookup_lemma, "bi")) == Strings{"bi"}; },
      [&] { return ids(lookup(articledb_db_lookup_source, "iturria")).size() == last; },
      [&] { return dateIds(20260102).size() == last; },
      [&] { return url(last).substr(0, 1) == "u"; },
      [&] { return text(last) == "testua"; },
      [&] { return maxId() == last; },
      [&] {
        const std::string newest = "u" + std::to_string(last);
        return articledb_db_lookup_url(db, newest.data(), sizeOf(newest), &id) == 0 && id == last;
      },
  };
  const guint64 once = lookups.size();
  const std::vector<std::function<bool()>> of_databases = {
      [&] { return keys(whole(articledb_db_get_urls)).size() == last; },
      [&] { return ids(lookup(articledb_db_lookup_trigram, trigram)).size() == last; },
      [&] { return articledb_transaction_get_id_from_url(t, "u1", 2, &id) == 0 && id == 1; },
      [&] { return articledb_transaction_delete_id(t, &last) == 0; },
  };
  for (guint64 i = 0; i < 3 * once; ++i) {
    const std::string mark = "marka" + std::to_string(i);
    const std::string url = "u" + std::to_string(++last);
    ASSERT_EQ(with(other, [&] { return index(url, {"bat", "bi", "hiru", mark}); }), 0);
    EXPECT_TRUE(lookups[i % once]()) << i;
    EXPECT_FALSE(isInDatabases(mark)) << i;
    if (i % once == once - 1) {
      EXPECT_EQ(with(other, [&] { return writeOut(); }), 0);
      EXPECT_TRUE(isInDatabases(mark));
    }
  }
  for (const auto& read : of_databases) {
    const std::string mark = "marka" + std::to_string(last);
    const std::string url = "u" + std::to_string(++last);
    ASSERT_EQ(with(other, [&] { return index(url, {"bat", "bi", "hiru", mark}); }), 0);
    EXPECT_TRUE(read());
    EXPECT_TRUE(isInDatabases(mark));
  }
  other.reset();
  // Nothing is left of it.
  ASSERT_EQ(index("azkena", {"azkena"}), 0);
  EXPECT_TRUE(std::filesystem::exists(path + "/fenra.journal"));
  close();
  EXPECT_FALSE(std::filesystem::exists(path + "/fenra.journal"));
  verify();
}

// Every key of the databases, looked up where nothing is in them.
TEST_F(JournalTest, SegmentsAnswerAsTheDatabasesWould) {
  const auto articles = random_articles(150, std::random_device()(), true);
  const auto expected = contentsWithoutJournal([&] { indexAll(articles); });
  for (size_t i = 0; i < articles.size(); ++i) {
    indexSource(articles[i]);
    if (i % 3 == 0 && i < 120) {
      reopen();
    }
  }
  EXPECT_FALSE(isInDatabases("w0"));
  EXPECT_LE(countSegments(), 8U);
  const auto lists = [](const Pairs& pairs) {
    std::map<std::string, Strings> by_key;
    for (const auto& [key, data] : pairs) {
      by_key[key].push_back(data);
    }
    return by_key;
  };
  const std::pair<const char*, Lookup> lookups[] = {{"formdb", articledb_db_lookup_form},
                                                    {"sourcedb", articledb_db_lookup_source},
                                                    {"lemmadb", articledb_db_lookup_lemma}};
  for (const auto& [name, function] : lookups) {
    for (const auto& [key, items] : lists(expected.at(name))) {
      EXPECT_EQ(dups(lookup(function, key)) == items, true) << name << " " << key;
    }
  }
  for (const auto& [key, items] : lists(expected.at("trigramdb"))) {
    Strings found;
    EXPECT_EQ(scan_trigrams(
                  db, key.data(), sizeOf(key),
                  [](void* strings, guint64 id) {
                    auto* const all = static_cast<Strings*>(strings);
                    // Out of the journal some come again.
                    if (all->empty() || all->back() != id_bytes(id)) {
                      all->emplace_back(id_bytes(id));
                    }
                  },
                  &found),
              0);
    EXPECT_EQ(found == items, true) << key;
  }
  for (const auto& [key, items] : lists(expected.at("urldb"))) {
    guint64 number = 0;
    memcpy(&number, key.data(), sizeof number);
    EXPECT_EQ(url(number), items[0]);
    guint64 found = 0;
    const std::string address = items[0].substr(0, items[0].find('|'));
    EXPECT_EQ(articledb_db_lookup_url(db, address.data(), sizeOf(address), &found), 0);
    EXPECT_EQ(found, number);
  }
  EXPECT_EQ(expected.at("urldb").size(), expected.at("txtdb").size());
  for (guint64 number = 1; number <= maxId(); ++number) {
    const std::string key(id_bytes(number));
    const bool shown = lists(expected.at("urldb")).count(key) != 0;
    EXPECT_EQ(url(number).substr(0, 1) != "-", shown) << number;
  }
  expectContents(expected, "written out");
  EXPECT_EQ(countSegments(), 0U);
  close();
  verify();
}

// A removal waits as articles do, whatever it removes: what is in the databases, in segments, in
// the journal.
TEST_F(JournalTest, RemovalsWait) {
  ASSERT_EQ(index("datuetan", {"hitz"}), 0);
  ASSERT_EQ(writeOut(), 0);
  ASSERT_EQ(index("segmentuan", {"hitz"}), 0);
  reopen();
  ASSERT_EQ(index("egunkarian", {"hitz"}), 0);
  ASSERT_EQ(index("dago", {"hitz"}), 0);
  const Strings urls = {"datuetan", "segmentuan", "egunkarian"};
  guint64 id = 0;
  for (const std::string& url : urls) {
    EXPECT_EQ(articledb_db_delete(db, url.data(), sizeOf(url)), 0);
    EXPECT_EQ(articledb_db_delete(db, url.data(), sizeOf(url)), STATUS_NOT_FOUND);
  }
  EXPECT_FALSE(isInDatabases("dago"));
  const auto expectGone = [&](const char* when) {
    for (size_t i = 0; i < urls.size(); ++i) {
      EXPECT_EQ(articledb_db_lookup_url(db, urls[i].data(), sizeOf(urls[i]), &id), STATUS_NOT_FOUND)
          << urls[i] << " " << when;
      EXPECT_EQ(url(i + 1), "-6") << when;
      EXPECT_EQ(text(i + 1), "-6") << when;
    }
    EXPECT_EQ(text(4), "testua") << when;
  };
  expectGone("at once");
  EXPECT_TRUE(getsToTheEndAlone([] {}));
  expectGone("after a death");
  reopen();
  expectGone("in a segment");
  ASSERT_EQ(writeOut(), 0);
  expectGone("in the databases");
  EXPECT_EQ(index("segmentuan", {"berriz"}), 0);
  EXPECT_EQ(articledb_db_lookup_url(db, "segmentuan", 10, &id), 0);
  close();
  verify();
}

TEST_F(JournalTest, SegmentsThatCannotBeReadAreReportedAndKept) {
  ASSERT_EQ(index("a", {"bat"}), 0);
  close();
  const std::string name = path + "/fenra.segments";
  const std::string list = directory.read("store/fenra.segments");
  for (size_t place = 0; place <= list.size(); ++place) {
    EXPECT_EQ(status_of([&] { parse_segment_list(list.substr(0, place)); }),
              place == list.size() ? 0 : EPROTO);
    std::string changed = list;
    changed[place % list.size()] ^= 1;
    EXPECT_EQ(status_of([&] { parse_segment_list(changed); }), EPROTO) << place;
  }
  directory.write("store/fenra.segments", list + "?");
  expectRefused(EPROTO, "put a backup into the store's place");
  directory.write("store/fenra.segments", list);
  const std::string segment = directory.read("store/fenra.segment.1-1");
  directory.write("store/fenra.segment.1-1", segment.substr(1));
  expectRefused(EPROTO, "a fenra.segment file is damaged");
  directory.write("store/fenra.segment.1-1", segment);
  open();
  EXPECT_THAT(formIds("bat"), ElementsAre(1));
}

TEST_F(JournalTest, TheDatabasesGetWhatTheyWouldHaveGot) {
  const auto articles = random_articles(150, std::random_device()(), true);
  const auto expected = contentsWithoutJournal([&] { indexAll(articles); });
  indexAll(articles);
  EXPECT_FALSE(isInDatabases("w0"));
  expectContents(expected, "all at once");
  makeAnew();
  EXPECT_TRUE(getsToTheEndAlone([&] { indexAll(articles); }));
  expectContents(expected, "after a death");
  close();
  verify();
}

// What failed is done again together with what has come meanwhile.
TEST_F(JournalTest, AFailureIsMadeGood) {
  const auto article = [](const std::string& url) {
    return std::vector<Source>{{articleValues(url), {{"bat", "bi", "hiru", url}}}};
  };
  const auto expected = contentsWithoutJournal([&] {
    indexAll(article("aa"));
    indexAll(article("bb"));
  });
  for (const auto& spec : DATABASES) {
    indexAll(article("aa"));
    BrokenPuts::install(db->*spec.field, 0, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(writeOut(), EIO) << spec.name;
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("fenra.journal: its articles"));
    indexAll(article("bb"));
    expectContents(expected, spec.name);
    makeAnew();
  }
}

TEST_F(JournalTest, ADeathWhileTheyAreWrittenCostsNothing) {
  const auto articles = random_articles(40, 7, true);
  const auto expected = contentsWithoutJournal([&] { indexAll(articles); });
  for (const auto& spec : DATABASES) {
    for (const int puts : {0, 1, 40}) {
      const bool reached = !getsToTheEndAlone([&] {
        indexAll({articles.begin(), articles.begin() + 20});
        reopen();
        indexAll({articles.begin() + 20, articles.end()});
        BrokenPuts::install(db->*spec.field, puts, SIGKILL);
        writeOut();
      });
      EXPECT_TRUE(reached || puts > 0) << spec.name;
      expectContents(expected, spec.name);
      close();
      verify();
      makeAnew();
    }
  }
}

TEST_F(JournalTest, ChangedPayloadsAreArticlesOrRefused) {
  ASSERT_EQ(index("a", {"bat", "bi", "hiru", "bat", std::string(80, 'w'), "lau", "bat", "bi"}), 0);
  std::unique_ptr<JournalFile> file;
  file = JournalFile::open(path.c_str(), false);
  std::string bytes;
  const auto records = file->read(JournalFile::BEGIN, JournalFile::MOST_BYTES, &bytes);
  ASSERT_THAT(records, SizeIs(1));
  const std::string whole(records[0].payload);
  int refused = 0;
  const auto read = [&](const std::string& payload) {
    try {
      const JournalArticle article = read_journal_article(1, payload);
      for (size_t place = 0; place < article.sequence.size(); ++place) {
        if (article.has_trigram(place)) {
          for (size_t i = place; i < place + 3; ++i) {
            ASSERT_LT(article.sequence[i], article.forms.size());
          }
        }
      }
    } catch (const Failed& failed) {
      EXPECT_EQ(failed.code, EPROTO);
      ++refused;
    }
  };
  for (size_t place = 0; place < whole.size(); ++place) {
    read(whole.substr(0, place));
    for (int byte = 0; byte < 256; ++byte) {
      std::string changed = whole;
      changed[place] = static_cast<char>(byte);
      read(changed);
    }
  }
  EXPECT_GT(refused, 1000);
  read(whole);
}

TEST_F(JournalTest, BeginsAnewWhenItIsFull) {
  constexpr guint64 COUNT = 60;
  std::mt19937 random(1);
  Strings texts(COUNT, std::string(size_t{300} << 10, ' '));
  for (std::string& text : texts) {
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>('a' + random() % 26); });
  }
  EXPECT_TRUE(getsToTheEndAlone([&] {
    Handle reader = another();
    for (guint64 i = 0; i < COUNT; ++i) {
      // In the second half nothing waits when a round ends, and the reader knows that.
      EXPECT_EQ(i > COUNT / 2 ? writeOut() : 0, 0);
      EXPECT_THAT(with(reader, [&] { return formIds("hitz"); }), SizeIs(i));
      ASSERT_EQ(index("u" + std::to_string(i), {"hitz", "h" + std::to_string(i)}, texts[i]), 0);
      EXPECT_THAT(with(reader, [&] { return formIds("hitz"); }), SizeIs(i + 1));
    }
    EXPECT_TRUE(isInDatabases("hitz"));
    EXPECT_FALSE(isInDatabases("h" + std::to_string(COUNT - 1)));
    EXPECT_LE(std::filesystem::file_size(path + "/fenra.journal"), JournalFile::MOST_BYTES);
  }));
  EXPECT_THAT(formIds("hitz"), SizeIs(COUNT));
  for (guint64 i = 0; i < COUNT; ++i) {
    EXPECT_EQ(formIds("h" + std::to_string(i)), Ids{i + 1});
    EXPECT_EQ(text(i + 1), texts[i]);
  }
}

// Of more than a megabyte, with several thousand words; as a replacement too, and in between
// others.
TEST_F(JournalTest, LargeArticlesWaitToo) {
  std::mt19937 random(3);
  const auto large = [&](const std::string& url) {
    Source source = {articleValues(url, std::string(size_t{2} << 20, ' ')), {{}}};
    std::string& text = source.values["_txt"];
    std::generate(text.begin(), text.end(), [&] { return static_cast<char>('a' + random() % 26); });
    for (int i = 0; i < 9000; ++i) {
      source.tokens.tokens.push_back("h" + std::to_string(random() % 5000));
    }
    return source;
  };
  const Source small = {articleValues("txikia"), {{"h1", "h2", "h3"}}};
  const std::vector<Source> articles = {small,           large("handia"), small,
                                        large("txikia"), small,           large("handia")};
  const auto expected = contentsWithoutJournal([&] { indexAll(articles); });
  indexAll(articles);
  EXPECT_FALSE(isInDatabases("h1"));
  EXPECT_EQ(countSegments(), 6U);
  EXPECT_TRUE(getsToTheEndAlone([] {}));
  expectContents(expected);
}

// A cursor that stands somewhere would be in the way of writing later what waits.
TEST_F(JournalTest, NothingWaitsBesideAHostsCursors) {
  ASSERT_EQ(index("a", {"bat"}), 0);
  ArticledbCursor* cursor = whole(articledb_db_get_lemmas);
  EXPECT_EQ(once(cursor, articledb_cursor_next_key), "bat");
  ArticledbCursor* copy = copyOf(cursor);
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
  ASSERT_EQ(index("b", {"bi"}), 0);
  EXPECT_TRUE(isInDatabases("bi"));
  EXPECT_EQ(articledb_cursor_close(copy), 0);
  ASSERT_EQ(index("c", {"bat", "hiru"}), 0);
  EXPECT_FALSE(isInDatabases("hiru"));
  EXPECT_THAT(formIds("hiru"), ElementsAre(3));
  // Nor does one whose process is gone stand in the way.
  EXPECT_TRUE(getsToTheEnd([&] {
    EXPECT_THAT(once(whole(articledb_db_get_lemmas), articledb_cursor_next_key),
                testing::AnyOf("bat", "bi", "hiru"));
  }));
  ASSERT_EQ(index("d", {"bat", "lau"}), 0);
  EXPECT_FALSE(isInDatabases("lau"));
  EXPECT_THAT(formIds("bat"), ElementsAre(1, 3, 4));
}

TEST_F(JournalTest, WhatHasBeenWrittenIsNotWrittenAgain) {
  const guint64 removed = 2;
  EXPECT_TRUE(getsToTheEndAlone([&] {
    for (const char* url : {"a", "b", "c"}) {
      ASSERT_EQ(index(url, {"hitz"}), 0);
    }
    ASSERT_EQ(articledb_transaction_delete_id(t, &removed), 0);
    ASSERT_EQ(index("d", {"hitz", std::string("orain\0", 6)}), 0);
    EXPECT_TRUE(std::filesystem::exists(path + "/fenra.journal"));
  }));
  EXPECT_EQ(maxId(), 4U);
  EXPECT_EQ(url(removed), "-6");
  ASSERT_EQ(index("e", {"hitz"}), 0);
  EXPECT_THAT(formIds("hitz"), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(JournalTest, OneThatCannotBeReadIsReportedAndKept) {
  close();
  EXPECT_TRUE(getsToTheEnd([&] { ASSERT_EQ(index("a", {"bat"}), 0); }));
  const std::string name = path + "/fenra.journal";
  std::fstream(name, std::ios::in | std::ios::out | std::ios::binary) << "fenraj9";
  expectRefused(EPROTO, "fenra.journal");
  EXPECT_TRUE(std::filesystem::exists(name));
  // Records that are whole and no articles.
  std::unique_ptr<JournalFile> file;
  std::filesystem::remove(name);
  file = JournalFile::open(path.c_str(), true);
  std::string record = std::string(JOURNAL_RECORD_HEADER_BYTES, '-') + "ez da artikulua";
  file->write(JournalFile::BEGIN, 1, &record);
  expectRefused(EPROTO, "remove the files");
  std::filesystem::remove(name);
  open();
  EXPECT_THAT(formIds("bat"), IsEmpty());
}

}  // namespace
