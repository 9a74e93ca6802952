// Indexing of articles.
#include "store/layout/database.h"
#include "store_fixture.h"

namespace {

using testing::StartsWith;

class IndexTest : public StoreTest {
 protected:
  // indexed articles, tokens and text bytes; submitted articles, read tokens, lengths
  std::vector<guint32> stats() {
    std::vector<guint32> s(6);
    articledb_db_get_stats(db, &s[0], &s[1], &s[2], &s[3], &s[4], &s[5]);
    return s;
  }
};

TEST_F(IndexTest, ArticleIsStoredWithAllItsPostings) {
  const std::string long_word(64, 'w');
  const std::string original = std::string(5000, 'a') + "\nbukaera";
  ASSERT_EQ(index("http://a/1", {"gure", "etxe", "gure", "etxe", long_word, "x", "y"}, original),
            0);
  EXPECT_THAT(url(1), StartsWith("http://a/1|"));
  EXPECT_EQ(url(1).size(), strlen("http://a/1|source=\"iturria\";date=\"20260102\";lang=\"eu\";"));
  EXPECT_EQ(text(1), original);
  EXPECT_EQ(formIds(long_word), Ids{1});
  EXPECT_EQ(formIds("gure"), Ids{1});
  EXPECT_EQ(ids(lookup(articledb_db_lookup_source, "iturria")), Ids{1});
  EXPECT_EQ(dateIds(20260102), Ids{1});
  EXPECT_THAT(dups(lookup(articledb_db_lookup_lemma, "gure")), ElementsAre("gure"));
  EXPECT_THAT(
      keys(whole(articledb_db_get_trigrams)),
      ElementsAre(std::string("etxe\0gure\0etxe\0", 15), std::string("gure\0etxe\0gure\0", 15)));
  EXPECT_EQ(stats(), (std::vector<guint32>{1, 7, 5008, 1, 7, 10}));
}

TEST_F(IndexTest, MissingMetadataIsRefusedBeforeAnythingIsWritten) {
  for (const char* key : {"_url", "source", "date", "lang", "_txt", "_length"}) {
    auto values = articleValues("u");
    values.erase(key);
    EXPECT_EQ(index(Metadata(values, strcmp(key, "_length") == 0 ? 0 : 10), {{"hitz"}}),
              STATUS_MISSING_METADATA)
        << key;
  }
  EXPECT_EQ(maxId(), 0U);
  EXPECT_THAT(keys(whole(articledb_db_get_sources)), IsEmpty());
  EXPECT_EQ(stats(), (std::vector<guint32>{0, 0, 0, 6, 0, 50}));
}

TEST_F(IndexTest, DatesAreDecimalAndReducedTo32Bits) {
  const std::pair<const char*, guint32> cases[] = {
      {"", 0}, {"010", 10}, {"-1", 0xFFFFFFFFU}, {"4294967297", 1}, {"99x", 99}, {"x", 0}};
  guint64 id = 0;
  for (const auto& [string, date] : cases) {
    auto values = articleValues("u" + std::to_string(++id));
    values["date"] = string;
    ASSERT_EQ(index(Metadata(values), {}), 0);
    EXPECT_EQ(dateIds(date).back(), id) << string;
  }
}

TEST_F(IndexTest, HalfMissingEarlierArticlesAreReplacedToo) {
  ASSERT_EQ(index("a"), 0);
  guint64 id = 1;
  DBT key = ostren::fenra::store::id_item(&id);
  EXPECT_THAT(url(1), StartsWith("a|"));
  ASSERT_EQ(db->urldb->del(db->urldb, nullptr, &key, 0), 0);
  ASSERT_EQ(index("a"), 0);
  EXPECT_EQ(text(1), "-6");
  id = 2;
  EXPECT_EQ(text(2), "testua");
  ASSERT_EQ(db->txtdb->del(db->txtdb, nullptr, &key, 0), 0);
  ASSERT_EQ(index("a"), 0);
  EXPECT_EQ(url(2), "-6");
  EXPECT_THAT(url(3), StartsWith("a|"));
  EXPECT_EQ(text(3), "testua");
}

TEST_F(IndexTest, FailingTokenSourceLeavesWhatWasWritten) {
  EXPECT_EQ(index(Metadata(articleValues("a")), {{}, -1}), -1);
  EXPECT_EQ(index(Metadata(articleValues("b")), {{"hitz"}, 77}), 77);
  EXPECT_EQ(index(Metadata(articleValues("c")), {{"hitz"}, 0}), 0);
  EXPECT_EQ(stats(), (std::vector<guint32>{0, 0, 0, 3, 2, 30}));
  EXPECT_EQ(text(1), "testua");
  EXPECT_EQ(formIds("hitz"), (Ids{2, 3}));
  EXPECT_EQ(index("a", {"hitz"}), 0);
  EXPECT_EQ(url(1), "-6");
  EXPECT_EQ(stats(), (std::vector<guint32>{1, 1, 6, 4, 3, 40}));
}

// ---- what is stored already ----

class UnchangedTest : public IndexTest {
 protected:
  using Values = std::map<std::string, std::string>;
  using Pairs = std::vector<std::pair<std::string, std::string>>;

  int unchanged(GHashTable* metadata, TokenList tokens) {
    int result = 2;
    EXPECT_EQ(articledb_db_is_unchanged(db, metadata, TokenList::pull, &tokens, &result), 0);
    return result;
  }
  int unchanged(const Values& values, const Strings& tokens = kTokens) {
    return unchanged(Metadata(values), {tokens});
  }

  static inline const Strings kTokens = {"bat", "bi", "hiru", "bat", "bi", "lau"};
};

TEST_F(UnchangedTest, IsWhatTheUrlShows) {
  const Values values = articleValues("u", std::string(100000, 'x'));
  EXPECT_EQ(unchanged(values), 0);
  ASSERT_EQ(index(Metadata(values), {kTokens}), 0);
  EXPECT_EQ(unchanged(values), 1);
  for (const auto& [key, value] : Pairs{{"_url", "v"},
                                        {"_url", "U"},
                                        {"_txt", std::string(99999, 'x')},
                                        {"_txt", std::string(99999, 'x') + "y"},
                                        {"source", "iturriz"},
                                        {"date", "20260103"},
                                        {"lang", "es"},
                                        {"mime", "text/plain"},
                                        {"", ""}}) {
    Values other = values;
    other[key] = value;
    EXPECT_EQ(unchanged(other), 0) << key << " " << value.substr(0, 20);
  }
  Values other = values;
  other["_unstored"] = "bat";
  EXPECT_EQ(unchanged(other), 1);
  // What is replaced is not shown, and what is deleted neither.
  ASSERT_EQ(index("u", kTokens), 0);
  EXPECT_EQ(unchanged(values), 0);
  EXPECT_EQ(unchanged(articleValues("u")), 1);
  ASSERT_EQ(articledb_db_delete(db, "u", 1), 0);
  EXPECT_EQ(unchanged(articleValues("u")), 0);

  other.erase("lang");
  TokenList tokens;
  int result = 2;
  EXPECT_EQ(articledb_db_is_unchanged(db, Metadata(other), TokenList::pull, &tokens, &result),
            STATUS_MISSING_METADATA);
  EXPECT_EQ(result, 2);
}

TEST_F(UnchangedTest, TheOrderOfThePairsIsOfNoAccount) {
  Values values = articleValues("u");
  values["bat"] = "1";
  values["bi"] = "2";
  GHashTable* one = g_hash_table_new([](gconstpointer) -> guint { return 0; }, g_str_equal);
  for (auto entry = values.rbegin(); entry != values.rend(); ++entry) {
    g_hash_table_insert(one, const_cast<char*>(entry->first.c_str()), entry->second.data());
  }
  g_hash_table_insert(one, const_cast<char*>("_length"), GUINT_TO_POINTER(1));
  ASSERT_EQ(index(one, {kTokens}), 0);
  const std::string first = url(1);
  EXPECT_EQ(unchanged(values), 1);
  ASSERT_EQ(index(Metadata(values), {kTokens}), 0);
  EXPECT_EQ(unchanged(one, {kTokens}), 1);
  // Or there was nothing to be seen here.
  EXPECT_NE(url(2), first);
  g_hash_table_destroy(one);
}

// Two articles that have the same URL record, since nothing is escaped in it.
TEST_F(UnchangedTest, PairsInsideOfValuesAreToldApart) {
  Values values = articleValues("u");
  values["source"] = "s\";date=\"1";
  values["date"] = "2";
  ASSERT_EQ(index(Metadata(values), {kTokens}), 0);
  EXPECT_EQ(unchanged(values), 1);
  for (const auto& [source, date] :
       {std::pair("s", "1\";date=\"2"), {"s", "2\";date=\"1"}, {"s\";date=\"2", "1"}}) {
    values["source"] = source;
    values["date"] = date;
    EXPECT_EQ(unchanged(values), 0) << source;
  }
}

// Its records may come before its words.
TEST_F(UnchangedTest, WhatWasCutShortIsNotWhole) {
  Strings words(5000, "bat");
  words.insert(words.end(), kTokens.begin(), kTokens.end());
  for (size_t length : {0, 1, 4999, 5001, 5002}) {
    const Values values = articleValues("u" + std::to_string(length));
    const Strings first(words.begin(), words.begin() + static_cast<long>(length));
    ASSERT_EQ(index(Metadata(values), {first, -1}), -1);
    EXPECT_EQ(unchanged(values, first), 1) << length;
    EXPECT_EQ(unchanged(values, words), 0) << length;
  }
}

TEST_F(IndexTest, LemmatizerMayGiveNoneOrSeveralLemmas) {
  const ArticledbLemmatizerFunc lemmatize = [](void*, const char* form, int length) -> GList* {
    if (std::string(form, static_cast<size_t>(length)) == "ezezaguna") {
      return nullptr;
    }
    return articledb_string_list_prepend(articledb_string_list_prepend(nullptr, "bi"), "bat");
  };
  ASSERT_EQ(index(Metadata(articleValues("a")), {{"ezezaguna", "hitza", "hitzak"}}, lemmatize), 0);
  Strings lemmas = keys(whole(articledb_db_get_lemmas));
  EXPECT_THAT(lemmas, UnorderedElementsAre("bat", "bi"));
  EXPECT_THAT(dups(lookup(articledb_db_lookup_lemma, "bi")), ElementsAre("hitza", "hitzak"));
  EXPECT_EQ(formIds("ezezaguna"), Ids{1});
}

// Puts that fail: all that carry several pairs, and those of a chosen key.
struct FailingPuts {
  static inline int (*real)(DB*, DB_TXN*, DBT*, DBT*, guint32);
  static inline std::string key;
  static inline int groups;

  static int put(DB* database, DB_TXN* txn, DBT* key_item, DBT* data, guint32 flags) {
    if ((flags & DB_MULTIPLE_KEY) != 0) {
      ++groups;
      // It is made, so that its undoing has something to undo.
      EXPECT_EQ(real(database, txn, key_item, data, flags), 0);
      return EIO;
    }
    const std::string_view string(static_cast<const char*>(key_item->data), key_item->size);
    return string == key ? EFBIG : real(database, txn, key_item, data, flags);
  }
};

TEST_F(IndexTest, TheDatabasesHaveAnArticleAtOnce) {
  const auto has = [this](const std::string& form) {
    DBT key{};
    key.data = const_cast<char*>(form.data());
    key.size = sizeOf(form);
    DBT data{};
    return db->formdb->get(db->formdb, nullptr, &key, &data, 0) == 0;
  };
  ASSERT_EQ(index("a", {"etxe"}), 0);
  EXPECT_TRUE(has("etxe"));
  EXPECT_FALSE(std::filesystem::exists(path + "/fenra.journal"));
  ASSERT_EQ(articledb_db_use_journal(db), 0);
  ASSERT_EQ(index("b", {"zuri"}), 0);
  EXPECT_FALSE(has("zuri"));
}

// Also in the place of an earlier article, whose records are gone then.
TEST_F(IndexTest, FailureOfAWriteLeavesWhatCameBeforeIt) {
  const Strings tokens = {"zazpi", "sei", "bost", "sei", "lau", "hiru"};
  const auto fail_puts = [this](DB* database, const std::string& key) {
    FailingPuts::real = database->put;
    FailingPuts::key = key;
    FailingPuts::groups = 0;
    database->put = FailingPuts::put;
    testing::internal::CaptureStderr();
  };
  ASSERT_EQ(index("a"), 0);
  fail_puts(db->formdb, "lau");
  EXPECT_EQ(index("a", tokens, "berria"), EFBIG);
  EXPECT_EQ(FailingPuts::groups, 1);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Errorea articledb_transaction_put_with_string_guint64: lau"));
  EXPECT_EQ(text(2), "berria");
  EXPECT_EQ(formIds("bost"), Ids{2});
  EXPECT_THAT(formIds("hiru"), IsEmpty());
  char buffer[64];
  guint32 size = sizeof buffer;
  EXPECT_EQ(articledb_db_lookup_id_to_url(db, 1, buffer, &size), STATUS_NOT_FOUND);
  reopen();
  // A group alone may fail.
  fail_puts(db->formdb, "");
  EXPECT_EQ(index("c", tokens), 0);
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(formIds("hiru"), Ids{3});
  EXPECT_EQ(formIds("zazpi"), (Ids{2, 3}));
  close();
  verify();
}

TEST_F(IndexTest, PairsThatAreOnDiskAreNotWrittenAgain) {
  ASSERT_EQ(index("a", {"etxe", "zuri"}), 0);
  EXPECT_THAT(keys(whole(articledb_db_get_lemmas)), SizeIs(2));
  // Whoever puts one of them fails.
  FailingPuts::real = std::exchange(db->lemmadb->put, FailingPuts::put);
  FailingPuts::key = "etxe";
  EXPECT_EQ(index("b", {"etxe", "gorri"}), 0);
  EXPECT_THAT(keys(whole(articledb_db_get_lemmas)), UnorderedElementsAre("etxe", "zuri", "gorri"));
}

}  // namespace
