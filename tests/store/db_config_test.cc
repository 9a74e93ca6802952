// The file DB_CONFIG of a store directory.
#include <sys/stat.h>

#include "store_fixture.h"

namespace {

class DbConfigTest : public StoreTest {
 protected:
  void configure(const std::string& text) const { directory.write("store/DB_CONFIG", text); }

  static guint64 cacheOf(const ArticledbDb* store) {
    guint32 gigabytes = 0;
    guint32 bytes = 0;
    int parts = 0;
    EXPECT_EQ(store->env->get_cachesize(store->env, &gigabytes, &bytes, &parts), 0);
    return (guint64{gigabytes} << 30) + bytes;
  }

  guint64 mebibytes() const { return cacheOf(db) >> 20; }
};

TEST_F(DbConfigTest, WhatAStoreCannotBeUsedWithIsRefused) {
  ASSERT_EQ(index("u1", {"etxe"}), 0);
  close();
  const struct {
    std::string text;
    const char* complaint;
  } cases[] = {
      {"set_open_flags DB_PRIVATE on\n",
       "line 1, 'set_open_flags DB_PRIVATE on': a store takes no"},
      {"# the log\n\n\tset_lg_dir /elsewhere", "line 3, '\tset_lg_dir /elsewhere'"},
      {"set_flags DB_TXN_NOT_DURABLE on\r\n", "set_flags"},
      {"set_cachesize", "line 1"},
      {"set_cachesize 64 1 1", "64 GiB"},
      {"set_cachesize 0 -1 1", "gigabytes, bytes and a number of parts"},
      {"set_cachesize 0 20479 1", "altogether 20 KiB to 64 GiB"},
      {"set_cachesize 0 4294967296 1", "set it with: fenra tune"},
      {"set_cachesize 0 1048576 17", "up to 16"},
      {"set_cachesize 0 1048576 1 1", "'set_cachesize 0 1048576 1 1'"},
      {"set_lg_max 10485759", "set_lg_max takes 10485760 to 1073741824"},
      {"# " + std::string(253, 'x') + "\nset_lg_max 10485760", "line 1 has more than 250 bytes"},
      {std::string("# \0\n", 4), "zero byte"},
      {std::string(70000, '\n'), "more than 65536 bytes"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.complaint);
    configure(c.text);
    expectRefused(EINVAL, c.complaint);
  }
  // What is no file must not be waited for.
  const std::string name = path + "/DB_CONFIG";
  for (const int kind : {S_IFIFO, S_IFDIR}) {
    std::filesystem::remove(name);
    ASSERT_EQ(kind == S_IFIFO ? mkfifo(name.c_str(), 0600) : mkdir(name.c_str(), 0700), 0);
    expectRefused(kind == S_IFIFO ? EPERM : EINVAL, "no regular file");
  }
  std::filesystem::remove(name);
  configure("# none\r\n\n \t\nset_lg_max 20971520\nset_cachesize\t0 1048576  2 \r\n");
  reopen();
  EXPECT_EQ(mebibytes(), 1U);
  EXPECT_EQ(formIds("etxe"), Ids{1});
}

TEST_F(DbConfigTest, AChangeTakesEffectWhenEverybodyHasClosed) {
  EXPECT_EQ(mebibytes(), 12U);
  configure("set_cachesize 0 67108864 1\n");
  Handle neighbour = another();
  ASSERT_EQ(index("u1", {"etxe"}), 0);
  EXPECT_EQ(cacheOf(neighbour.get()) >> 20, 12U);
  close();
  neighbour.reset();
  open();
  EXPECT_EQ(mebibytes(), 80U);
  EXPECT_EQ(formIds("etxe"), Ids{1});
  // Opened again without a change, the regions stay.
  struct stat before = {};
  struct stat after = {};
  ASSERT_EQ(stat((path + "/__db.003").c_str(), &before), 0);
  reopen();
  ASSERT_EQ(stat((path + "/__db.003").c_str(), &after), 0);
  EXPECT_EQ(before.st_ino, after.st_ino);
  std::filesystem::remove(path + "/DB_CONFIG");
  reopen();
  EXPECT_EQ(mebibytes(), 12U);
  EXPECT_EQ(formIds("etxe"), Ids{1});
}

TEST_F(DbConfigTest, RecoveryMakesTheCacheAnew) {
  // With other settings while the store is in use, which are then taken back.
  configure("set_cachesize 0 67108864 1\n");
  neighbourDies();
  EXPECT_EQ(index("u4", {"zuria"}), 0);
  EXPECT_EQ(mebibytes(), 80U);
  configure("set_cachesize 0 33554432 1\n");
  EXPECT_TRUE(getsToTheEndAlone([&] { EXPECT_EQ(index("u5", {"zuria"}), 0); }));
  EXPECT_EQ(mebibytes(), 40U);
  EXPECT_THAT(formIds("zuria"), SizeIs(2));
  // A file that is damaged in use costs those nothing who have the store open.
  configure("set_everything 1\n");
  EXPECT_EQ(index("u3", {"etxe"}), 0);
  EXPECT_EQ(formIds("etxe"), Ids{maxId()});
}

// Each page of the cache takes a mutex.
TEST_F(DbConfigTest, AGibibyteHasItsMutexes) {
  configure("set_cachesize 1 0 1\n");
  reopen();
  EXPECT_EQ(mebibytes(), 1024U);
  DB_MUTEX_STAT* mutexes = nullptr;
  ASSERT_EQ(db->env->mutex_stat(db->env, &mutexes, 0), 0);
  constexpr guint32 PAGES = 1 << 18;
  EXPECT_GE(mutexes->st_mutex_max, mutexes->st_mutex_inuse + PAGES + 20000);
  free(mutexes);
  EXPECT_EQ(index("u1", {"etxe"}), 0);
  EXPECT_EQ(formIds("etxe"), Ids{1});
}

}  // namespace
