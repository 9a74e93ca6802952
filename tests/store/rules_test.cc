// The rules of words that a store is made with.
#include "store/layout/database.h"
#include "store_fixture.h"

namespace {

namespace fs = std::filesystem;

class RulesTest : public testing::Test {
 protected:
  std::string path(const char* name) const { return directory_ / name; }

  // The name of the rules of a store, or the status of the call.
  std::string rules_of(const char* name) const { return rules_of_open(open(name)); }

  std::string rules_of_open(ArticledbDb* db) const {
    const ArticledbRules* rules = nullptr;
    const int status = articledb_db_get_rules(db, &rules);
    EXPECT_EQ(0, articledb_db_close(db));
    return status == 0 ? rules->name : std::to_string(status);
  }

  ArticledbDb* open(const char* name) const {
    ArticledbDb* db = articledb_db_new();
    EXPECT_EQ(0, articledb_db_open(db, path(name).c_str()));
    return db;
  }

  void make(const char* name, const char* rules) const {
    ArticledbDb* db = articledb_db_new();
    EXPECT_EQ(0, articledb_db_create_with_rules(db, path(name).c_str(), rules));
    EXPECT_EQ(rules_of_open(db), rules);
  }

  const TemporaryDirectory directory_;
};

TEST_F(RulesTest, StayWithTheStoreWhereverItsFilesGo) {
  make("web", "web");
  make("plain", "plain");
  EXPECT_EQ(rules_of("web"), "web");
  EXPECT_EQ(rules_of("plain"), "plain");
  EXPECT_EQ(0, articledb_bulk_compact(path("web").c_str(), 0, nullptr, nullptr));
  EXPECT_EQ(rules_of("web"), "web");
  // A copy of its database file over that of another store.
  fs::copy_file(path("web") + "/fenra.index", path("plain") + "/fenra.index",
                fs::copy_options::overwrite_existing);
  EXPECT_EQ(rules_of("plain"), "web");

  ArticledbBulk* bulk = nullptr;
  ASSERT_EQ(0, articledb_bulk_new(&bulk, path("bulk").c_str(), 0));
  EXPECT_EQ(EINVAL, articledb_bulk_set_rules(bulk, "other"));
  EXPECT_EQ(0, articledb_bulk_set_rules(bulk, "web"));
  EXPECT_EQ(0, articledb_bulk_finish(bulk, nullptr, nullptr));
  articledb_bulk_free(bulk);
  EXPECT_EQ(rules_of("bulk"), "web");
}

TEST_F(RulesTest, AreGivenOnce) {
  const auto give = [this](const char* name, const char* rules) {
    ArticledbDb* db = articledb_db_new();
    const int status = articledb_db_create_with_rules(db, path(name).c_str(), rules);
    EXPECT_EQ(0, articledb_db_close(db));
    return status;
  };
  make("web", "web");
  make("plain", "plain");
  EXPECT_EQ(EEXIST, give("web", "plain"));
  EXPECT_EQ(EEXIST, give("plain", "web"));
  EXPECT_EQ(0, give("web", "web"));
  EXPECT_EQ(rules_of("web") + rules_of("plain"), "webplain");
  // One whose making was cut short has databases, and none of its rules.
  fs::create_directory(path("cut"));
  EXPECT_EQ(rules_of("cut"), "plain");
  EXPECT_EQ(0, give("cut", "web"));
  EXPECT_EQ(rules_of("cut"), "web");
  EXPECT_EQ(-1, give("no/parent", "web"));
}

TEST_F(RulesTest, AreNotGuessed) {
  ArticledbDb* db = articledb_db_new();
  EXPECT_EQ(EINVAL, articledb_db_create_with_rules(db, path("none").c_str(), "other"));
  EXPECT_EQ(EINVAL, articledb_db_create_with_rules(db, path("none").c_str(), nullptr));
  EXPECT_FALSE(fs::exists(path("none")));
  articledb_db_close(db);
  for (const std::string& name : {std::string("later"), std::string(1000, 'x')}) {
    db = articledb_db_new();
    const std::string directory = path("web") + name.substr(0, 1);
    ASSERT_EQ(0, articledb_db_create(db, directory.c_str()));
    DBT key = ostren::fenra::store::input_item(ostren::fenra::store::RULES_KEY, 4);
    DBT data = ostren::fenra::store::input_item(name);
    ASSERT_EQ(0, db->iddb->put(db->iddb, nullptr, &key, &data, 0));
    testing::internal::CaptureStderr();
    EXPECT_EQ(rules_of_open(db), std::to_string(STATUS_UNKNOWN_RULES));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("which this version does not have; use the version that made"));
  }
}

}  // namespace
