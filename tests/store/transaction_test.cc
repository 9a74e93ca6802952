// The record writers.
#include <random>

#include "store_fixture.h"

namespace {

class TransactionTest : public StoreTest {
 protected:
  int putTxt(guint64 id, const std::string& record) {
    return articledb_transaction_put_txt(t, id, record.data(), sizeOf(record));
  }
};

TEST_F(TransactionTest, IdWritersStoreAPairOnceInTheOrderOfTheirDatabase) {
  const std::string big(9000, 'k');
  for (const auto& [writer, list] :
       {std::pair<Put, Lookup>{articledb_transaction_put_form, articledb_db_lookup_form},
        {articledb_transaction_put_source, articledb_db_lookup_source},
        {articledb_transaction_put_trigram, articledb_db_lookup_trigram}}) {
    for (const std::string& key : {std::string("etxe"), std::string(), std::string("a\0b", 3)}) {
      for (guint64 id : {256, 1, 256, 1, 70000}) {
        EXPECT_EQ(put(writer, key, id), 0);
      }
      EXPECT_EQ(ids(lookup(list, key)), (Ids{1, 256, 70000}));
    }
    EXPECT_EQ(writer(t, nullptr, 0, 2), 0);
    EXPECT_EQ(ids(lookup(list, "")), (Ids{1, 2, 256, 70000}));
    EXPECT_EQ(put(writer, big, 3), 0);
  }
  EXPECT_EQ(formIds(big), Ids{3});
  for (guint64 id : {256, 1, 256}) {
    EXPECT_EQ(articledb_transaction_put_date(t, 0xFFFFFFFFU, id), 0);
  }
  EXPECT_EQ(dateIds(0xFFFFFFFFU), (Ids{1, 256}));
}

TEST_F(TransactionTest, UrlSearchGivesTheFirstIdInByteOrder) {
  guint64 id = 9;
  EXPECT_EQ(articledb_transaction_get_id_from_url(t, "u", 1, &id), STATUS_NOT_FOUND);
  EXPECT_EQ(id, 9U);
  for (guint64 other : {1, 256, 3}) {
    ASSERT_EQ(articledb_transaction_put_urlidx(t, other, "url", 3), 0);
  }
  EXPECT_EQ(articledb_transaction_get_id_from_url(t, "url/more", 3, &id), 0);
  EXPECT_EQ(id, 256U);
  EXPECT_EQ(articledb_transaction_get_id_from_url(t, "url", 10, &id), STATUS_NOT_FOUND);
}

TEST_F(TransactionTest, UrlRecordsAreReplacedAndTextRecordsAdded) {
  EXPECT_EQ(articledb_transaction_put_url(t, "bat", 3, 7), 0);
  EXPECT_EQ(articledb_transaction_put_url(t, "bi", 2, 7), 0);
  EXPECT_EQ(url(7), "bi");
  const std::string big(20000, 'b');
  const std::string bigger(50000, 'a');
  for (const std::string& txt : {big, std::string("zz"), bigger}) {
    EXPECT_EQ(putTxt(7, txt), 0);
    EXPECT_EQ(putTxt(7, txt), DB_KEYEXIST);
  }
  EXPECT_EQ(record(articledb_db_lookup_id_to_txt, 7), bigger);

  const guint64 id = 7;
  const guint64 text_only = 8;
  ASSERT_EQ(putTxt(text_only, "zz"), 0);
  EXPECT_EQ(articledb_transaction_delete_id(t, &text_only), DB_NOTFOUND);
  EXPECT_EQ(record(articledb_db_lookup_id_to_txt, 8), "zz");
  EXPECT_EQ(articledb_transaction_delete_id(t, &id), 0);
  EXPECT_EQ(url(7), "-6");
  EXPECT_EQ(record(articledb_db_lookup_id_to_txt, 7), "-6");
  EXPECT_EQ(articledb_transaction_delete_id(t, &id), DB_NOTFOUND);
}

// A put of an existing pair with a short data item, on a page that has no room to
// hold it twice, would leave a page that no later read or write survives.
TEST_F(TransactionTest, RepeatedShortLemmaPairsLeaveAStoreThatVerifies) {
  for (size_t length = 1; length <= 7; ++length) {
    const std::string prefix = "lema" + std::string(length, '-');
    std::minstd_rand random(1);
    for (unsigned i = 0; i < 1000; ++i) {
      for (unsigned n : {i, static_cast<unsigned>(random() % (i + 1))}) {
        ASSERT_EQ(putLemma(prefix + std::to_string(n), std::string(length, 'f')), 0);
      }
    }
  }
  close();
  verify();
}

TEST_F(TransactionTest, PackingReversesTheTableAndSkipsPrivateKeys) {
  const auto pack = [](GHashTable* table) {
    char* packed = articledb_pack_url_with_metadata("http://a", table);
    std::string result = packed;
    g_free(packed);
    return result;
  };
  EXPECT_EQ(pack(Metadata({{"_url", "x"}, {"_txt", "y"}})), "http://a");
  EXPECT_EQ(pack(Metadata({{"source", "a\";|b"}, {"_x", "y"}})), "http://a|source=\"a\";|b\";");
  // The pairs come in the reverse order of the table.
  const Metadata table({{"source", "s"}, {"date", ""}, {"lang", "eu"}});
  std::string pairs;
  g_hash_table_foreach(
      table,
      [](gpointer key, gpointer value, gpointer all) {
        auto* before = static_cast<std::string*>(all);
        const std::string name = static_cast<char*>(key);
        *before =
            name[0] == '_' ? *before : name + "=\"" + static_cast<char*>(value) + "\";" + *before;
      },
      &pairs);
  EXPECT_EQ(pack(table), "http://a|" + pairs);
}

TEST_F(TransactionTest, CommitAndAbortKeepEveryWrite) {
  for (auto* end : {articledb_transaction_commit, articledb_transaction_abort}) {
    ASSERT_EQ(putForm("hitz", end == articledb_transaction_commit ? 1 : 2), 0);
    EXPECT_EQ(end(t), 0);
    begin();
  }
  EXPECT_THAT(formIds("hitz"), ElementsAre(1, 2));
  EXPECT_THAT(formIds("hit"), IsEmpty());
}

}  // namespace
