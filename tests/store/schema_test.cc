// Hash databases whose files have been written without the library.
#include "store/layout/schema.h"

#include <random>

#include "store/layout/database.h"
#include "store_fixture.h"

namespace {

using namespace ostren::fenra::store;

class HashFileTest : public StoreTest {
 protected:
  // Opens "formdb" of a file beside the store, as Berkeley DB or as the library has it.
  DB* open(bool as_the_library) const {
    const auto* spec =
        std::find_if(std::begin(DATABASES), std::end(DATABASES),
                     [](const auto& one) { return one.field == &ArticledbDb::formdb; });
    DB* database = nullptr;
    EXPECT_EQ(db_create(&database, nullptr, 0), 0);
    int step = 0;
    if (as_the_library) {
      EXPECT_EQ(schema_configure(database, *spec, &step), 0);
    } else {
      EXPECT_EQ(database->set_pagesize(database, PAGE_BYTES), 0);
      EXPECT_EQ(database->set_flags(database, DB_DUPSORT), 0);
    }
    EXPECT_EQ(database->open(database, nullptr, (root + "/file").c_str(), spec->name, spec->type,
                             DB_CREATE, 0),
              0);
    return database;
  }

  static int get(DB* database, const std::string& string) {
    DBT key = input_item(string);
    DBT data = {};
    return database->get(database, nullptr, &key, &data, 0);
  }
};

// The order on a page is part of the file: with another one keys are not found any more. Berkeley
// DB's own does not find a key any more when one that begins with it, and is so long that it lies
// elsewhere, has come to its page.
TEST_F(HashFileTest, KeysAreFoundAlsoThoseThatLongOnesBeginWith) {
  std::mt19937 random(3);
  Strings keys;
  for (int i = 0; i < 300; ++i) {
    keys.push_back("etxe" + std::string(random() % 9, 'a') + std::to_string(random() % 500));
    keys.push_back(std::string(random() % 40, static_cast<char>('a' + random() % 3)));
  }
  keys.emplace_back("euskara");
  const guint64 id = 1;
  DBT data = input_item(&id, sizeof id);
  DB* plain = open(false);
  const auto put = [&](const std::string& string) {
    DBT key = input_item(string);
    ASSERT_EQ(plain->put(plain, nullptr, &key, &data, DB_OVERWRITE_DUP), 0);
  };
  for (const std::string& key : keys) {
    put(key);
  }
  for (int i = 0; get(plain, "euskara") == 0; ++i) {
    ASSERT_LT(i, 10000) << "there is nothing to be cured";
    put("euskara" + std::to_string(i) + std::string(1100, '-'));
  }
  ASSERT_EQ(plain->close(plain, 0), 0);
  DB* database = open(true);
  for (const std::string& key : keys) {
    EXPECT_EQ(get(database, key), 0) << key;
  }
  ASSERT_EQ(database->close(database, 0), 0);
}

}  // namespace
