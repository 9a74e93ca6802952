// What a store is after its files have been copied, and put back.
#include "store_fixture.h"

namespace {

namespace fs = std::filesystem;

class CopyTest : public StoreTest {
 protected:
  // Indexes articles until as many have been; enough of them for some log files.
  void fill(size_t articles) {
    for (size_t number = maxId(); number < articles; ++number) {
      Strings tokens = {"etxe"};
      for (size_t i = 0; i < 200; ++i) {
        tokens.push_back("h" + std::to_string((number * 7919 + i * 104729) % 50021));
      }
      ASSERT_EQ(index("u" + std::to_string(number), tokens), 0);
    }
  }

  // Of a closed store; the gate file and the shared memory are not part of a copy.
  void copy(const std::string& from, const std::string& to) const {
    fs::create_directories(to);
    for (const auto& entry : fs::directory_iterator(from)) {
      const std::string name = entry.path().filename();
      if (name == "fenra.index" || name.rfind("log.", 0) == 0) {
        fs::copy_file(entry, to + "/" + name, fs::copy_options::overwrite_existing);
      }
    }
  }

  // Opens the store with so many articles, goes on with it, also after a death, and closes it.
  void use(size_t articles) {
    open();
    EXPECT_THAT(formIds("etxe"), SizeIs(articles));
    ASSERT_NO_FATAL_FAILURE(fill(articles + 30));
    neighbourDies();
    EXPECT_THAT(formIds("etxe"), SizeIs(articles + 30));
    for (const char* form : {"h0", "h104729", "hila"}) {
      formIds(form);
    }
    close();
    verify();
    reopen();
    EXPECT_THAT(formIds("etxe"), SizeIs(articles + 30));
    close();
    verify();
  }
};

TEST_F(CopyTest, IsTheStoreThatWasCopiedWhereverItIsPut) {
  const std::string older = root + "/older";
  const std::string newer = root + "/newer";
  fill(40);
  close();
  copy(path, older);
  reopen();
  fill(1500);
  reopen();
  close();
  EXPECT_FALSE(fs::exists(path + "/log.0000000001")) << "too few articles for the test";
  copy(path, newer);

  // Over the store that has gone on since, and over one that has not come so far.
  copy(older, path);
  use(40);
  copy(newer, path);
  use(1500);
  // Twice, and over what has been opened meanwhile.
  copy(older, path);
  copy(newer, path);
  copy(older, path);
  use(40);

  // Beside it: as it is, without its log, with the gate file and the shared memory of another
  // directory.
  path = older;
  use(40);
  path = newer;
  for (const auto& entry : fs::directory_iterator(newer)) {
    if (entry.path().filename().string().rfind("log.", 0) == 0) {
      fs::remove(entry);
    }
  }
  use(1500);
  fs::copy(newer, root + "/whole");
  path = root + "/whole";
  use(1530);
}

// What the list of segments tells belongs to the databases that were there before.
TEST_F(CopyTest, OtherDatabasesHaveNoneOfTheSegments) {
  const std::string older = root + "/older";
  uses_journal = true;
  fill(10);
  close();
  copy(path, older);
  reopen();
  fill(20);
  EXPECT_THAT(formIds("etxe"), SizeIs(20));
  close();
  EXPECT_TRUE(fs::exists(path + "/fenra.segments"));
  copy(older, path);
  open();
  EXPECT_THAT(formIds("etxe"), SizeIs(10));
  ASSERT_EQ(index("berria", {"etxe"}), 0);
  reopen();
  EXPECT_THAT(formIds("etxe"), SizeIs(11));
}

}  // namespace
