// Cursors, key lookups and id resolution.
#include <random>

#include "store/layout/database.h"
#include "store/reading/item_batch.h"
#include "store/reading/read_cache.h"
#include "store_fixture.h"

namespace {

using ostren::fenra::store::ItemBatch;
using ostren::fenra::store::ReadCache;
using ostren::fenra::store::ReadName;

// So many ids apart, URL records share a place in what is kept at first.
constexpr guint64 PLACES = ReadCache::LEAST_ROOM / 128;

class CursorTest : public StoreTest {
 protected:
  void putTrigram(const std::string& key, guint64 id) {
    ASSERT_EQ(put(articledb_transaction_put_trigram, key, id), 0);
  }
  static std::string small(guint32 length) {
    return std::to_string(DB_BUFFER_SMALL) + ":" + std::to_string(length);
  }
  static std::string pair(ArticledbCursor* cursor, const std::string& search, guint32 capacity) {
    std::string key = search + std::string(64, '?');
    std::string data(1000, '?');
    ArticledbBuffer k = {key.data(), capacity, static_cast<guint32>(search.size())};
    ArticledbBuffer d = {data.data(), 1000, 0};
    const int status = articledb_cursor_next_key_and_data(cursor, &k, &d);
    return status == CURSOR_OK ? key.substr(0, k.length) + "=" + data.substr(0, d.length)
                               : std::to_string(status) + ":" + std::to_string(k.length);
  }
};

TEST_F(CursorTest, WalksGiveKeysOnceAndPairsEach) {
  for (const char* form : {"c", "a", "b"}) {
    putLemma("bat", form);
  }
  putLemma("bi", "d");
  EXPECT_THAT(keys(whole(articledb_db_get_lemmas)), UnorderedElementsAre("bat", "bi"));
  EXPECT_THAT(drain(whole(articledb_db_get_lemmas), articledb_cursor_next_data),
              UnorderedElementsAre("a", "b", "c", "d"));
  EXPECT_THAT(dups(lookup(articledb_db_lookup_lemma, "bat")), ElementsAre("a", "b", "c"));
  EXPECT_THAT(dups(lookup(articledb_db_lookup_lemma, "b")), IsEmpty());
  // Over a whole database: the first key's items, and the key in the cursor.
  ArticledbCursor* cursor = whole(articledb_db_get_lemmas);
  const std::string first = once(cursor, articledb_cursor_next_data_dup);
  const std::string key(static_cast<char*>(cursor->key.data), cursor->key.size);
  EXPECT_EQ(key, first == "d" ? "bi" : "bat");
  // Berkeley DB's own key memory is copied by a duplicate, and survives the source.
  ArticledbCursor* copy = copyOf(cursor);
  EXPECT_EQ(once(cursor, articledb_cursor_next_data).size(), 1U);
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
  EXPECT_EQ(once(copy, articledb_cursor_next_data_dup), first);
  EXPECT_EQ(articledb_cursor_close(copy), 0);
}

TEST_F(CursorTest, TooSmallABufferTellsTheLengthAndTheReadCanBeRepeated) {
  putLemma("l1", "aaaaaaaa");
  putLemma("l1", "bbbbbbbb");
  ArticledbCursor* cursor = lookup(articledb_db_lookup_lemma, "l1");
  for (const char* wanted : {"aaaaaaaa", "bbbbbbbb"}) {
    EXPECT_EQ(once(cursor, articledb_cursor_next_data_dup, 7), small(8));
    EXPECT_EQ(once(cursor, articledb_cursor_next_data_dup, 0), small(8));
    EXPECT_EQ(cursor->next_op, static_cast<guint32>(DB_NEXT_DUP));
    EXPECT_EQ(once(cursor, articledb_cursor_next_data_dup, 8), wanted);
    ArticledbCursor* copy = copyOf(cursor);
    EXPECT_EQ(once(copy, articledb_cursor_next_data_dup, 7), small(8));
    EXPECT_EQ(once(copy, articledb_cursor_next_data_dup), wanted);
    EXPECT_EQ(articledb_cursor_close(copy), 0);
  }
  EXPECT_THAT(dups(cursor), IsEmpty());
  for (auto* read : {articledb_cursor_next_key, articledb_cursor_next_data}) {
    cursor = whole(articledb_db_get_lemmas);
    const bool key = read == articledb_cursor_next_key;
    EXPECT_EQ(once(cursor, read, 1), small(key ? 2 : 8));
    EXPECT_EQ(once(cursor, read), key ? "l1" : "aaaaaaaa");
    EXPECT_EQ(articledb_cursor_close(cursor), 0);
  }
}

TEST_F(CursorTest, KeyAndDataReadsSearchByTheCallersKey) {
  for (const char* key : {"bb", "dddd", "ff"}) {
    putTrigram(key, 0x4141414141414141);
  }
  const auto ranged = [this] {
    ArticledbCursor* cursor = whole(articledb_db_get_trigrams);
    cursor->next_op = DB_SET_RANGE;
    return cursor;
  };
  ArticledbCursor* cursor = ranged();
  EXPECT_EQ(pair(cursor, "c", 3), small(4));
  EXPECT_EQ(pair(cursor, "zzzz", 64), "dddd=AAAAAAAA");
  EXPECT_EQ(pair(cursor, "", 1), small(2));
  EXPECT_EQ(pair(cursor, "", 64), "ff=AAAAAAAA");
  EXPECT_EQ(pair(cursor, "", 64), "2:0");
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
  cursor = ranged();
  EXPECT_EQ(pair(cursor, "abcdef", 3), std::to_string(EINVAL) + ":6");
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
}

TEST_F(CursorTest, DuplicatesStandOnTheRecordOfTheirSource) {
  putTrigram("k1", 1);
  putTrigram("k2", 2);
  putTrigram("k2", 3);
  putTrigram("k3", 4);
  ArticledbCursor* cursor = lookup(articledb_db_lookup_trigram, "k");
  Strings split;
  std::vector<Ids> found;
  std::string key;
  while ((key = once(cursor, articledb_cursor_next_key)) != "2:0") {
    split.push_back(key);
    ArticledbCursor* copy = nullptr;
    ASSERT_EQ(articledb_cursor_dup_with_key_data(cursor, &copy, key.data(), 2), 0);
    EXPECT_EQ(std::string(static_cast<char*>(copy->key.data), copy->key.size), key);
    EXPECT_EQ(copy->key.flags, cursor->key.flags);
    found.push_back(ids(copy));
    EXPECT_EQ(ids(copyOf(cursor)), found.back());
  }
  EXPECT_EQ(split, (Strings{"k1", "k2", "k3"}));
  EXPECT_EQ(found, (std::vector<Ids>{{1}, {2, 3}, {4}}));
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
  // From a whole-database cursor, whose reads fill the key item themselves.
  cursor = whole(articledb_db_get_trigrams);
  EXPECT_EQ(once(cursor, articledb_cursor_next_key), "k1");
  ArticledbCursor* copy = nullptr;
  ASSERT_EQ(articledb_cursor_dup_with_key_data(cursor, &copy, "other", 5), 0);
  EXPECT_EQ(ids(copy), Ids{1});
  EXPECT_EQ(articledb_cursor_close(cursor), 0);
}

TEST_F(CursorTest, TrigramLookupStartsAtTheFirstKeyNotLess) {
  EXPECT_THAT(keys(lookup(articledb_db_lookup_trigram, "x")), IsEmpty());
  const std::string longest(192, 'q');
  for (const std::string& key : {std::string("b"), std::string("d"), longest}) {
    putTrigram(key, 1);
  }
  const std::pair<std::string, Strings> cases[] = {
      {"", {"b", "d", longest}},  {"b", {"b", "d", longest}},
      {"c", {"d", longest}},      {longest, {longest}},
      {"z", {"b", "d", longest}}, {std::string(192, 'z'), {"b", "d", longest}}};
  for (const auto& [start, wanted] : cases) {
    EXPECT_EQ(keys(lookup(articledb_db_lookup_trigram, start)), wanted);
  }
  EXPECT_THAT(ids(lookup(articledb_db_lookup_trigram, "z")), ElementsAre(1));
  auto* cursor = reinterpret_cast<ArticledbCursor*>(this);
  EXPECT_EQ(articledb_db_lookup_trigram(db, &cursor, longest.data(), 193), EINVAL);
  EXPECT_EQ(cursor, nullptr);
}

TEST_F(CursorTest, IdResolutionTellsTheLengthItNeeds) {
  ASSERT_EQ(articledb_transaction_put_url(t, "http://a|x", 10, 3), 0);
  const struct {
    guint64 id;
    guint32 size;
    int status;
    guint32 size_after;
  } cases[] = {{3, 64, 0, 10},
               {3, 10, 0, 10},
               {3, 9, STATUS_BUFFER_SMALL, 10},
               {3, 0, STATUS_BUFFER_SMALL, 10},
               {4, 64, STATUS_NOT_FOUND, 64},
               // Again, of what the handle has kept.
               {3, 9, STATUS_BUFFER_SMALL, 10},
               {3, 10, 0, 10}};
  for (const auto& c : cases) {
    char buffer[64] = {};
    guint32 size = c.size;
    EXPECT_EQ(articledb_db_lookup_id_to_url(db, c.id, buffer, &size), c.status);
    EXPECT_EQ(size, c.size_after);
    if (c.status == 0) {
      EXPECT_EQ(std::string(buffer, size), "http://a|x");
    }
    EXPECT_EQ(articledb_db_lookup_id_to_txt(db, c.id, buffer, &size), STATUS_NOT_FOUND);
  }
}

// What is kept of URL records never outlives a change, whichever handle makes it.
TEST_F(CursorTest, IdResolutionSeesEveryChangeAtOnce) {
  const Handle other = another();
  ArticledbTransaction* theirs = articledb_transaction_new();
  ASSERT_EQ(articledb_transaction_begin(theirs, other.get()), 0);
  for (ArticledbTransaction* writer : {t, theirs}) {
    // Two ids that share a place in what is kept.
    for (const guint64 id : {guint64{7}, 7 + PLACES}) {
      for (const std::string record : {"a|first", "", "b|next"}) {
        ASSERT_EQ(articledb_transaction_put_url(writer, record.data(), sizeOf(record), id), 0);
        EXPECT_EQ(url(id), record);
        EXPECT_EQ(url(id), record);
      }
    }
    const guint64 id = 7;
    EXPECT_EQ(url(id), "b|next");
    // There is no text to remove.
    ASSERT_EQ(articledb_transaction_delete_id(writer, &id), DB_NOTFOUND);
    EXPECT_EQ(url(id), "-6");
    EXPECT_EQ(url(id + PLACES), "b|next");
  }
  EXPECT_EQ(articledb_transaction_abort(theirs), 0);
}

TEST(ReadCacheTest, HoldsWhatItsRoomAllows) {
  ReadCache cache;
  std::string_view found;
  const auto bytes = [](guint64 id) {
    return std::to_string(id) + std::string(id % 1900, static_cast<char>('a' + id % 26));
  };
  const auto name_of = [](const std::string& text) {
    ReadName name;
    name.append(text.data(), text.size());
    return name;
  };
  const auto find = [&](guint64 id) {
    return id % 2 == 0 ? cache.find_url(id, 5, &found)
                       : cache.find(name_of(std::to_string(id)), 5, &found);
  };
  EXPECT_FALSE(find(1));
  cache.carry_urls_over(5, 50);
  guint64 earlier_found = 0;
  for (guint64 id = 1; id <= 100000; ++id) {
    id % 2 == 0 ? cache.keep_url(id, bytes(id))
                : cache.keep(name_of(std::to_string(id)), 5, bytes(id));
    ASSERT_TRUE(find(id));
    ASSERT_EQ(found, bytes(id));
    ASSERT_FALSE(cache.find(name_of(std::to_string(id)), 6, &found));
    ASSERT_FALSE(cache.find_url(id, 6, &found) || cache.find_url(id + PLACES, 5, &found));
    // One of the last thousand is there, and what is there of others is their own.
    for (const guint64 earlier : {id - id % 1000, id / 2}) {
      if (earlier != 0 && find(earlier)) {
        earlier_found += earlier > id / 2 ? 1 : 0;
        ASSERT_EQ(found, bytes(earlier));
      }
    }
  }
  EXPECT_GT(earlier_found, 98000U);
  // URL records hold on when others change, and go with a change of theirs.
  cache.carry_urls_over(6, 50);
  EXPECT_TRUE(cache.find_url(100000, 6, &found));
  cache.carry_urls_over(7, 51);
  EXPECT_FALSE(cache.find_url(100000, 7, &found));
  // Neither what is long nor a name that is too long is kept.
  cache.keep(name_of("3"), 7, std::string(ReadCache::LEAST_ROOM / 64, 'x'));
  cache.keep(name_of(std::string(500, 'n')), 7, "e");
  EXPECT_FALSE(cache.find(name_of("3"), 7, &found) ||
               cache.find(name_of(std::string(500, 'n')), 7, &found));
  // More room has more places, and is empty.
  cache.set_room(2 * ReadCache::LEAST_ROOM);
  EXPECT_FALSE(find(99999));
  for (const guint64 id : {guint64{1}, 1 + PLACES}) {
    cache.keep_url(id, "");
  }
  EXPECT_TRUE(cache.find_url(1, 7, &found) && cache.find_url(1 + PLACES, 7, &found));
}

TEST(ItemBatchTest, UnpacksWhatWasPacked) {
  // Makes a batch of packed items behind one that is there, and packs it again.
  const auto again = [](const std::string& first, std::string_view packed) {
    const DBT item = ostren::fenra::store::input_item(first);
    ItemBatch batch;
    if (!batch.unpack(&item, packed)) {
      return std::string();
    }
    EXPECT_EQ(batch.at(0), first);
    std::string out(batch.most_packed_bytes(), '?');
    return std::string(batch.pack(batch.following(0), out.data()));
  };
  // Differences up to every length, from 0 on; of ids out of order they are negative.
  std::mt19937_64 random(1);
  for (guint64 shift = 0; shift < 64; ++shift) {
    std::string packed(1, '\10');
    Ids ids(1 + random() % 300);
    for (guint64& id : ids) {
      const guint64 difference = random() >> shift;
      id = (&id == ids.data() ? 0 : *(&id - 1)) + difference;
      packed.append(reinterpret_cast<const char*>(&difference), sizeof difference);
    }
    ItemBatch batch;
    ASSERT_TRUE(batch.unpack(nullptr, packed));
    ASSERT_TRUE(batch.holds_ids());
    EXPECT_EQ(Ids(batch.ids(), batch.ids_end()), ids);
    const std::string narrow = again("8 bytes.", packed);
    EXPECT_EQ(again("8 bytes.", narrow), narrow);
    ASSERT_TRUE(batch.unpack(nullptr, narrow));
    EXPECT_EQ(Ids(batch.ids(), batch.ids_end()), ids);
    EXPECT_LE(narrow.size(), 9 + (ids.size() - 1) * (shift >= 56 ? 1 : shift >= 48 ? 2 : 8));
  }
  const std::string texts("\0\1\0\0\0a\0\0\0\0\2\0\0\0bc", 16);
  EXPECT_EQ(again("first", texts), texts);
  EXPECT_EQ(again("8 bytes.", texts), texts);
  EXPECT_EQ(again("first", "\1any id.."), "");
}

TEST_F(CursorTest, ListsTakeItemsOfAnySizeAndOtherReads) {
  Strings wanted;
  for (int i = 0; i < 900; ++i) {
    wanted.push_back(std::to_string(1000 + i) + std::string(static_cast<size_t>(i), 'x'));
  }
  wanted.push_back(std::string(999, 'z'));
  wanted.push_back(std::string(999, 'z') + std::string(1, '\0'));
  for (const std::string& form : wanted) {
    putLemma("etxe", form);
  }
  putLemma("etxea", "bestea");
  // Reads of the list, a copy of it, and then reads of another kind from its place.
  for (size_t place = 0; place < wanted.size(); place += 129) {
    ArticledbCursor* cursor = lookup(articledb_db_lookup_lemma, "etxe");
    for (size_t i = 0; i <= place; ++i) {
      ASSERT_EQ(once(cursor, articledb_cursor_next_data_dup), wanted[i]) << i;
    }
    EXPECT_EQ(cursor->dbc, nullptr);
    EXPECT_EQ(dups(copyOf(cursor)), Strings(wanted.begin() + place, wanted.end()));
    cursor->next_op = DB_CURRENT;
    EXPECT_EQ(pair(cursor, "", 64), "etxe=" + wanted[place]);
    cursor->next_op = DB_NEXT_DUP;
    EXPECT_EQ(dups(cursor), Strings(wanted.begin() + place + 1, wanted.end()));
  }
  // A list that nothing was read from stands nowhere.
  for (const char* lemma : {"etxe", "etxerik"}) {
    ArticledbCursor* cursor = lookup(articledb_db_lookup_lemma, lemma);
    ArticledbCursor* copy = copyOf(cursor);
    EXPECT_EQ(once(copy, articledb_cursor_next_data_dup), std::to_string(EINVAL) + ":0");
    EXPECT_EQ(articledb_cursor_close(copy), 0);
    EXPECT_EQ(articledb_cursor_close(cursor), 0);
  }
}

}  // namespace
