// A URL shows one article, the earlier or the later one, and all of it.
#include <atomic>
#include <thread>
#include <utility>

#include "store_fixture.h"

namespace {

// Counts the lookups in a database.
struct Lookups {
  static inline int (*real)(DB*, DB_TXN*, DBT*, DBT*, guint32);
  static inline int count;

  static void install(DB* database) {
    real = database->get == get ? real : database->get;
    database->get = get;
  }

  static int get(DB* database, DB_TXN* txn, DBT* key, DBT* data, guint32 flags) {
    ++count;
    return real(database, txn, key, data, flags);
  }
};

class ReplacingTest : public StoreTest {
 protected:
  // The words of a version, more than are written at once.
  static Strings words(const std::string& version) {
    Strings words(9000, "betegarri");
    for (size_t i = 0; i < words.size(); ++i) {
      words[i] = i % 2 == 0 ? "denak" : "h" + std::to_string(i) + version;
    }
    return words;
  }

  // Replaces by the new version. `meanwhile` is called with the number of words read.
  int replace(const std::function<void(size_t)>& meanwhile) {
    return index(Metadata(articleValues("u", "berria")),
                 {words("berria"), ARTICLEDB_TOKEN_END, meanwhile});
  }

  // The articles that each URL shows.
  std::map<std::string, Ids> live() {
    std::map<std::string, Ids> live;
    for (guint64 id = maxId(); id > 0; --id) {
      const std::string record = url(id);
      if (record[0] == 'u') {
        live[record.substr(0, record.find('|'))].push_back(id);
      }
    }
    return live;
  }

  // The version that the URL shows, whole; the empty string otherwise.
  std::string shown() {
    const Ids ids = live()["u"];
    if (ids.size() != 1) {
      ADD_FAILURE() << ids.size() << " articles";
      return "";
    }
    const std::string version = text(ids[0]);
    for (const std::string& word : {std::string("denak"), "h1" + version, "h8999" + version}) {
      EXPECT_THAT(formIds(word), testing::Contains(ids[0])) << word;
    }
    return version;
  }
};

// By themselves between two writes, and in any of them; with others there or alone.
TEST_F(ReplacingTest, ADeathLeavesOneOfTheTwo) {
  ASSERT_EQ(index("u", words("zaharra"), "zaharra"), 0);
  const auto expect_death = [this](const std::function<void()>& work) {
    EXPECT_FALSE(getsToTheEnd(work));
    EXPECT_NE(shown(), "");
    EXPECT_FALSE(getsToTheEndAlone(work));
    EXPECT_NE(shown(), "");
  };
  for (const size_t death : {0, 1, 4096, 4097, 9000}) {
    SCOPED_TRACE(death);
    expect_death([&] {
      replace([death](size_t place) {
        if (place == death) {
          raise(SIGKILL);
        }
      });
    });
  }
  for (const Field field : {&ArticledbDb::urldb, &ArticledbDb::urlidx, &ArticledbDb::txtdb,
                            &ArticledbDb::formdb, &ArticledbDb::trigramdb}) {
    expect_death([&] {
      maxId();
      BrokenPuts::install(db->*field, field == &ArticledbDb::trigramdb ? 20 : 0, SIGKILL);
      replace([](size_t) {});
    });
  }
  EXPECT_EQ(replace([](size_t) {}), 0);
  EXPECT_EQ(shown(), "berria");
  close();
  verify();
}

TEST_F(ReplacingTest, CostsTheSameEachTime) {
  const auto lookups = [this] {
    Lookups::install(db->urldb);
    EXPECT_EQ(index("u", {"hitz"}), 0);
    return std::exchange(Lookups::count, 0);
  };
  for (int i = 0; i < 30; ++i) {
    lookups();
  }
  const int early = lookups();
  for (int i = 0; i < 300; ++i) {
    lookups();
  }
  EXPECT_LE(lookups(), early);
  EXPECT_THAT(live()["u"], testing::ElementsAre(maxId()));
}

// ---- deleting ----

int remove(ArticledbDb* db, const std::string& url) {
  return articledb_db_delete(db, url.data(), static_cast<guint32>(url.size()));
}

TEST_F(ReplacingTest, ADeletedArticleIsGoneForEverybody) {
  const std::string url_of_any_length = "u" + std::string(3000, 'u');
  for (const std::string& u : {std::string("u"), url_of_any_length}) {
    EXPECT_EQ(remove(db, u), STATUS_NOT_FOUND);
    ASSERT_EQ(index(u, {"lehena"}), 0);
    ASSERT_EQ(index(u, {"bigarrena"}), 0);
    const guint64 id = maxId();
    ASSERT_EQ(index("utzi", {"hitza"}), 0);
    const Handle reader = another();
    // The reader keeps it, and it waits in the journal no more; the next ones do.
    EXPECT_NE(with(reader, [&] { return url(id); }), "-6");
    ASSERT_EQ(index(u, {"hirugarrena"}), 0);
    ASSERT_EQ(remove(db, u), 0);
    with(reader, [&] {
      for (const guint64 gone : {id - 1, id, id + 2}) {
        EXPECT_EQ(url(gone), "-6") << gone;
        EXPECT_EQ(text(gone), "-6") << gone;
      }
      guint64 found = 77;
      EXPECT_EQ(articledb_db_lookup_url(db, u.data(), static_cast<guint32>(u.size()), &found),
                STATUS_NOT_FOUND);
      EXPECT_EQ(found, 77U);
      // Its words and its place in the index of URLs stay.
      EXPECT_THAT(formIds("hirugarrena"), testing::Contains(id + 2));
      EXPECT_EQ(articledb_transaction_get_id_from_url(t, u.c_str(), static_cast<guint32>(u.size()),
                                                      &found),
                0);
      EXPECT_NE(url(id + 1), "-6");
      return 0;
    });
    EXPECT_EQ(remove(db, u), STATUS_NOT_FOUND);
  }
  ASSERT_EQ(index("u", {"berriro"}), 0);
  EXPECT_THAT(live()["u"], testing::ElementsAre(maxId()));
}

// In the middle the article stays, at the end it is gone.
TEST_F(ReplacingTest, ADeathLeavesAnArticleOrDeletesIt) {
  const auto die = [](DB*, DB_TXN*, DBT*, guint32) { return raise(SIGKILL); };
  for (const Field field : {&ArticledbDb::urldb, &ArticledbDb::txtdb}) {
    const auto die_in_deletion = [&] {
      ASSERT_EQ(index("u", words("zaharra"), "zaharra"), 0);
      maxId();
      (db->*field)->del = die;
      remove(db, "u");
    };
    EXPECT_FALSE(getsToTheEnd(die_in_deletion));
    EXPECT_EQ(shown(), "zaharra");
    EXPECT_FALSE(getsToTheEndAlone(die_in_deletion));
    EXPECT_EQ(shown(), "zaharra");
  }
  // What an earlier version may have left, far below the article that is shown.
  for (int i = 0; i < 50; ++i) {
    ASSERT_EQ(index("u", {"berriz"}), 0);
  }
  maxId();
  ASSERT_EQ(articledb_transaction_put_url(t, "u", 1, 2), 0);
  ASSERT_EQ(articledb_transaction_put_txt(t, 3, "hondarra", 8), 0);
  const auto end = [this] { EXPECT_EQ(remove(db, "u"), 0); };
  EXPECT_TRUE(getsToTheEndAlone(end));
  EXPECT_THAT(live(), testing::IsEmpty());
  EXPECT_EQ(text(3), "-6");
  close();
  verify();
}

// Whose articles are kept from the journal.
enum class Kept { ALL, ALL_BUT_ONE, ALL_BY_A_CURSOR };

class WritersTest : public ReplacingTest, public testing::WithParamInterface<Kept> {};

INSTANTIATE_TEST_SUITE_P(Kept, WritersTest,
                         testing::Values(Kept::ALL, Kept::ALL_BUT_ONE, Kept::ALL_BY_A_CURSOR));

TEST_P(WritersTest, LeaveOneArticleOfAUrl) {
  constexpr int ROUNDS = 250;
  constexpr int WRITERS = 4;
  ArticledbCursor* cursor = nullptr;
  if (GetParam() == Kept::ALL_BY_A_CURSOR) {
    // Has been read, and so has a place.
    cursor = whole(articledb_db_get_dates);
    once(cursor, articledb_cursor_next_key);
  }
  std::atomic<int> arrived{0};
  const auto work = [&](int writer) {
    const Handle mine = another();
    if (GetParam() == Kept::ALL_BY_A_CURSOR || (GetParam() == Kept::ALL_BUT_ONE && writer == 0)) {
      EXPECT_EQ(articledb_db_use_journal(mine.get()), 0);
    }
    for (int round = 0; round < ROUNDS; ++round) {
      TokenList tokens = {{"hitz"}};
      const Metadata metadata(articleValues("u" + std::to_string(round)));
      for (++arrived; arrived < WRITERS * (round + 1);) {
        std::this_thread::yield();
      }
      EXPECT_EQ(articledb_db_index(mine.get(), metadata, TokenList::pull, &tokens,
                                   articledb_lemmatizer_identity, nullptr),
                0);
    }
  };
  std::vector<std::thread> writers;
  for (int writer = 0; writer < WRITERS; ++writer) {
    writers.emplace_back(work, writer);
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  const std::map<std::string, Ids> shown = live();
  EXPECT_EQ(shown.size(), size_t{ROUNDS});
  for (const auto& [url, ids] : shown) {
    EXPECT_EQ(ids.size(), 1U) << url;
  }
  if (cursor != nullptr) {
    EXPECT_EQ(articledb_cursor_close(cursor), 0);
  }
}

}  // namespace
