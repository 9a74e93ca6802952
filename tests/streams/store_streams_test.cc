// Id streams over a real store in a temporary directory.
#include <optional>
#include <set>

#include "tests/streams/stream_store.h"

namespace fenra_test {
namespace {

using std::string_literals::operator""s;

using Query = OstrenGenerator* (*)(ArticledbDb*, const char*, guint32);

const Query kForm = articledb_db_form_lookup_generator_new;
const Query kLemma = articledb_db_lemma_lookup_generator_new;
const Query kSource = articledb_db_source_lookup_generator_new;
const Query kTrigram = articledb_db_trigram_lookup_generator_new;
const Query kDate = articledb_db_date_lookup_generator_new_from_string;

class StoreStreams : public StreamStoreTest {
 protected:
  // The whole stream, or nothing for a null one.
  std::optional<Script> read(Query make, const std::string& key) {
    OstrenGenerator* stream = ask(make, key);
    if (stream == nullptr) {
      return std::nullopt;
    }
    const Script ids = fenra_test::drain(stream);
    EXPECT_EQ(0, ostren_generator_free(stream));
    return ids;
  }
};

TEST_F(StoreStreams, LookupsByKey) {
  post("etxe", {5, 2});
  post("etxea", {9, 5});
  post("zubi", {256, 12, 3, 7});
  post(articledb_transaction_put_source, "berria", {4, 2, 1});
  for (const guint64 id : {3, 1, 2}) {
    ASSERT_EQ(0, articledb_transaction_put_date(t, 20090315, id));
  }
  const std::string longest_form(256, 'c'), too_long_form(257, 'd');
  post(longest_form, {6});
  post(too_long_form, {7});
  post("e", {8});
  postLemma("etxe", {"etxea", "etxe"});
  postLemma("galdu", {"never-indexed"});
  postLemma("luze", {longest_form, too_long_form, "e"});

  const struct {
    Query query;
    std::string key;
    std::optional<Script> expected;
  } cases[] = {
      {kForm, "etxe", Script{2, 5}},
      {kForm, "etx", Script{}},
      {kForm, "zubi", Script{3, 7, 12, 256}},
      {kSource, "berria", Script{1, 2, 4}},
      {kDate, "20090315", Script{1, 2, 3}},
      {kDate, "2009-3-5", std::nullopt},
      {kDate, "2009031", std::nullopt},
      {kDate, "+2009031", std::nullopt},
      {kDate, "2009031\0"s, std::nullopt},
      {kDate, "200903150", std::nullopt},
      {kLemma, "etxe", Script{2, 5, 9}},
      {kLemma, "galdu", Script{}},
      {kLemma, "zubi", Script{}},
      {kLemma, "luze", Script{6}},  // collecting stops at the form that is too long
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, read(c.query, c.key)) << c.key;
  }
  EXPECT_EQ(nullptr, kDate(db, nullptr, 0));
}

TEST_F(StoreStreams, TrigramLookups) {
  const std::string longest =
      std::string(63, 'x') + '\0' + std::string(63, 'y') + '\0' + std::string(63, 'z') + '\0';
  const std::string above_longest = longest.substr(0, 191) + '\1';
  ASSERT_EQ(192u, longest.size());
  EXPECT_EQ(Script{}, read(kTrigram, "a"));
  const Put trigram = articledb_transaction_put_trigram;
  post(trigram, "a\0b\0c\0"s, {4, 1});
  post(trigram, "a\0b\0d\0"s, {2, 4});
  post(trigram, "etxe\0handi\0bat\0"s, {6});
  post(trigram, "etxea\0handi\0bat\0"s, {7, 6});
  post(trigram, longest, {300, 9});

  const struct {
    std::string key;
    std::optional<Script> expected;
  } cases[] = {
      {"a\0b\0c\0"s, Script{1, 4}},
      {"a\0b\0"s, Script{1, 2, 4}},
      {"a\0c"s, Script{}},
      {"a", Script{1, 2, 4}},
      {"a\0b\0c\0\0"s, Script{}},  // a key is not searched by more than it holds
      {"etxe\0"s, Script{6}},
      {"etxe", Script{6, 7}},
      {"b", Script{}},
      {"zz", Script{}},  // past every key, where the scan starts from the front
      {"", Script{}},
      {longest, Script{9, 300}},
      {above_longest, Script{}},
      {longest + "x", std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.expected, read(kTrigram, c.key)) << c.key;
  }
}

// Few keys are united, many are scanned in bulks of some thousand pairs: with the same
// result, for ids that the store has handed out and for others.
TEST_F(StoreStreams, TrigramPrefixesOfManyKeys) {
  for (int i = 0; i < 1000; ++i) {
    guint64 id = 0;
    ASSERT_EQ(0, articledb_transaction_next_id(t, &id));
  }
  std::set<guint64> wanted;
  const auto add = [&](const std::string& key, const Script& ids) {
    post(articledb_transaction_put_trigram, key, ids);
    wanted.insert(ids.begin(), ids.end());
  };
  post(articledb_transaction_put_trigram, "j\xff\xff", {700, 701});
  post(articledb_transaction_put_trigram, "l", {702, 703});
  Script many;
  for (guint64 id = 1; id < 6500; ++id) {
    many.push_back(id / 600 % 2 == 0 ? id : id + 10000000);
  }
  add("k0512", many);
  for (int keys = 1; keys <= 600; ++keys) {
    const int number = keys * 89 % 601;  // not in the order of the keys
    add("k" + std::to_string(1000 + number), {static_cast<guint64>(2 * number)});
    if (keys == 1 || (keys >= 254 && keys <= 257) || keys == 600) {
      const Script all(wanted.begin(), wanted.end());
      ASSERT_EQ(all, read(kTrigram, "k")) << keys;
      // Passing over.
      Script some;
      std::copy_if(all.begin(), all.end(), std::back_inserter(some),
                   [](guint64 id) { return id >= 640 && id < 20000000; });
      const GeneratorPtr cut(articledb_guint64_cutter_new(
          kTrigram(db, "k", 1), ostren_guint64_range_generator_new(640, 20000000)));
      ASSERT_EQ(some, fenra_test::drain(cut.get())) << keys;
    }
  }
  // A key that is too long ends what is collected.
  const std::string too_long = "k1300" + std::string(190, 'x');
  post(articledb_transaction_put_trigram, too_long, {5000001});
  wanted = {many.begin(), many.end()};
  for (guint64 number = 1; number <= 300; ++number) {
    wanted.insert(2 * number);
  }
  EXPECT_EQ(Script(wanted.begin(), wanted.end()), read(kTrigram, "k"));
}

TEST_F(StoreStreams, RawItemsAndItemsThatDoNotFit) {
  postLemma("etxe", {"etxe", "etxeetxea"});
  char text[8];
  GeneratorPtr raw(articledb_generator_from_cursor_new(lookup(articledb_db_lookup_lemma, "etxe"),
                                                       text, sizeof(text)));
  void* item = nullptr;
  ASSERT_EQ(1, ostren_generator_next(raw.get(), &item));
  const auto* buffer = static_cast<ArticledbBuffer*>(item);
  EXPECT_EQ("etxe", std::string(static_cast<char*>(buffer->data), buffer->length));
  item = nullptr;
  EXPECT_EQ(2, ostren_generator_next(raw.get(), &item));
  EXPECT_EQ(nullptr, item);
  EXPECT_EQ(0, ostren_generator_free(raw.release()));

  // Nine bytes are no id.
  ArticledbCursor* cursor = lookup(articledb_db_lookup_lemma, "etxe");
  ArticledbBuffer first = {text, sizeof(text), 0};
  ASSERT_EQ(CURSOR_OK, articledb_cursor_next_data_dup(cursor, &first));
  GeneratorPtr ids(articledb_guint64_generator_new(cursor));
  EXPECT_EQ(kFail, pull(ids.get()));
  EXPECT_EQ(0, ostren_generator_free(ids.release()));
}

TEST_F(StoreStreams, Universe) {
  for (const Script& expected : {Script{}, Script{1}, Script{1, 2}}) {
    GeneratorPtr universe(articledb_db_get_id_universe_new(db));
    EXPECT_EQ(expected, fenra_test::drain(universe.get()));
    guint64 id = 0;
    ASSERT_EQ(0, articledb_transaction_next_id(t, &id));
  }
  // A directory that never was a store has no id counter.
  close();
  ASSERT_TRUE(std::filesystem::create_directory(root + "/empty"));
  db = articledb_db_new();
  ASSERT_EQ(0, articledb_db_open(db, (root + "/empty").c_str()));
  begin();
  EXPECT_EQ(nullptr, articledb_db_get_id_universe_new(db));
}

// While a stream is alive no Berkeley DB cursor is, so that its words can be written,
// and what is written behind its place is delivered.
TEST_F(StoreStreams, WordsAreWrittenBetweenThePulls) {
  guint64 next = 1;
  const auto write = [&] {
    for (const char* form : {"etxe", "etxea"}) {
      post(form, {next});
    }
    postLemma("etxe", {"etxe", "etxea", "etxe" + std::to_string(next)});
    post(articledb_transaction_put_source, "berria", {next});
    post(articledb_transaction_put_trigram, "etxe\0" + std::to_string(next % 5) + "\0da\0"s,
         {next});
    ASSERT_EQ(0, articledb_transaction_put_date(t, 20090315, next));
    ++next;
  };
  while (next <= 40) {
    write();
  }
  for (const auto& [query, key] : {std::pair<Query, std::string>{kForm, "etxe"},
                                   {kSource, "berria"},
                                   {kDate, "20090315"},
                                   {kLemma, "etxe"},
                                   {kTrigram, "etx"}}) {
    const auto before = read(query, key);
    ASSERT_TRUE(before.has_value());
    GeneratorPtr stream(ask(query, key));
    Script pulled;
    for (guint64 id; (id = pull(stream.get())) != 0 && pulled.size() < 2000;) {
      ASSERT_NE(kFail, id);
      pulled.push_back(id);
      if (pulled.size() < 100) {
        write();
      }
    }
    EXPECT_TRUE(std::is_sorted(pulled.begin(), pulled.end(), std::less_equal<>())) << key;
    ASSERT_LE(before->size(), pulled.size());
    EXPECT_TRUE(std::equal(before->begin(), before->end(), pulled.begin())) << key;
    EXPECT_EQ(next - 1, pulled.back()) << key;
  }
}

}  // namespace
}  // namespace fenra_test
