// Backups: what goes along, and what is left of one that fails.
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "store/articledb_backup.h"
#include "store/bulk/build_directory.h"
#include "store_fixture.h"

namespace {

namespace fs = std::filesystem;
using ostren::fenra::store::BUILD_SUFFIX;

class BackupTest : public StoreTest {
 protected:
  int backUp(const std::string& store, const std::string& copy,
             ArticledbBulkProgressFunc progress = nullptr) {
    char* text = nullptr;
    const int status = articledb_backup(store.c_str(), copy.c_str(), progress, nullptr, &text);
    EXPECT_EQ(text == nullptr, status == 0);
    message = text == nullptr ? "" : text;
    g_free(text);
    return status;
  }

  void expectRefused(const std::string& copy, int status, const std::string& reason) {
    EXPECT_EQ(backUp(path, copy), status);
    EXPECT_THAT(message, HasSubstr(reason));
  }

  std::string message;
  const std::string target = root + "/backup";
};

TEST_F(BackupTest, IsAWholeStoreInOrder) {
  ASSERT_EQ(index("u1", {"orain"}, "lehena"), 0);
  ASSERT_EQ(articledb_db_use_journal(db), 0);
  ASSERT_EQ(index("u2", {"etxe"}, "bigarrena"), 0);
  ASSERT_TRUE(fs::exists(path + "/fenra.journal"));
  directory.write("store/fenra.lexicon", "abcd\n");
  directory.write("store/DB_CONFIG", "set_cachesize 0 20971520 1\n");
  directory.write("store/notes.txt", "oharrak");
  fs::create_symlink("/etc/passwd", path + "/link");
  fs::create_directory(target);
  ASSERT_EQ(backUp(path, target), 0);
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(target)) {
    names.push_back(entry.path().filename());
  }
  // Neither gate nor journal nor shared memory, and one log.
  EXPECT_THAT(
      names, testing::UnorderedElementsAre("fenra.index", "fenra.lexicon", "DB_CONFIG", "notes.txt",
                                           testing::StartsWith("log.000000000")));
  EXPECT_EQ(directory.read("backup/notes.txt"), "oharrak");
  EXPECT_FALSE(fs::exists(target + BUILD_SUFFIX));
  close();
  path = target;
  verify();
  open();
  EXPECT_EQ(formIds("orain"), Ids{1});
  EXPECT_EQ(formIds("etxe"), Ids{2});
  EXPECT_EQ(text(2), "bigarrena");
  ASSERT_EQ(index("u2", {"mendi"}), 0);
  EXPECT_EQ(formIds("mendi"), Ids{3});
}

TEST_F(BackupTest, LeavesNothingOfAFailure) {
  ASSERT_EQ(index("u1", {"etxe"}), 0);
  expectRefused(path, EEXIST, "there is something; name a new or an empty directory");
  expectRefused(path + "/copy", EINVAL, "it is in the directory of the store");
  expectRefused(root + "/no/copy", ENOENT, "No such file");
  fs::create_directory(root + "/other");
  EXPECT_EQ(backUp(root + "/other", target), ENOENT);
  EXPECT_THAT(message, HasSubstr("it has no file fenra.index"));
  EXPECT_EQ(backUp(path, target, [](void*, guint64, guint64) { return 1; }), ECANCELED);
  EXPECT_FALSE(fs::exists(target));
  EXPECT_FALSE(fs::exists(target + BUILD_SUFFIX));

  // One that is at work, and what a killed one leaves behind.
  fs::create_directory(target + BUILD_SUFFIX);
  directory.write("backup.fenra-build/fenra.index", "half");
  const int other = ::open((target + BUILD_SUFFIX).c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(other, LOCK_EX), 0);
  expectRefused(target, EBUSY, "another backup, or a build, is at work");
  ::close(other);
  EXPECT_EQ(backUp(path, target), 0);

  // A page that is damaged, and nothing in the log that would show it.
  close();
  const std::string file = directory.read("backup/fenra.index");
  std::string damaged = file;
  damaged.replace(damaged.size() - 4096 + 20, 40, 40, '\x7f');
  directory.write("backup/fenra.index", damaged);
  // Apart: Berkeley DB loses some memory when a recovery fails.
  EXPECT_EQ(result_of([this] { return backUp(target, root + "/second") != 0 ? 7 : 0; }), 7);
  EXPECT_FALSE(fs::exists(root + "/second"));
  EXPECT_FALSE(fs::exists(root + "/second" + BUILD_SUFFIX));
}

}  // namespace
