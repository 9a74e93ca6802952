// What others have prepared in or beside a store is not touched.
#include <sys/stat.h>

#include "store/bulk/build_directory.h"
#include "store/creation.h"
#include "store_fixture.h"

namespace {

using ostren::fenra::store::BUILD_SUFFIX;
using testing::AllOf;

constexpr uid_t SOMEBODY = 20001;
constexpr uid_t SOMEBODY_ELSE = 20002;

// The result of `work` as it comes out for another user, who may enter the test's directory.
int resultFor(uid_t user, const std::function<int()>& work) {
  return result_of([&] { return setegid(user) == 0 && seteuid(user) == 0 ? work() : 255; });
}

class OwnershipTest : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    ASSERT_EQ(index("u", {"etxe"}), 0);
    close();
    directory.write("victim", "letter");
  }

  std::string file(const std::string& name) const { return path + "/" + name; }

  void expectUntouched(const std::string& place, const std::string& reason) const {
    SCOPED_TRACE(place);
    expectRefused(EPERM, path + place + ": " + reason);
    testing::internal::CaptureStderr();
    ostren::fenra::store::complete_store(path.c_str());
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(directory.read("victim"), "letter");
  }

  const std::string victim = root + "/victim";
};

TEST_F(OwnershipTest, LinksAndFilesOfEverybodyAreLeftAlone) {
  for (const char* name : {"fenra.gate", "fenra.room", "fenra.journal", "fenra.lexicon",
                           "fenra.index", "log.0000000009", "__db.001", "DB_CONFIG"}) {
    std::filesystem::rename(path, path + ".kept");
    std::filesystem::copy(path + ".kept", path);
    std::filesystem::remove(file(name));
    ASSERT_EQ(symlink(victim.c_str(), file(name).c_str()), 0);
    expectUntouched(std::string("/") + name, "it is a symbolic link");
    std::filesystem::remove_all(path);
    std::filesystem::rename(path + ".kept", path);
  }
  for (const char* name : {"fenra.gate", "fenra.journal"}) {
    std::filesystem::remove(file(name));
    ASSERT_EQ(link(victim.c_str(), file(name).c_str()), 0);
    expectUntouched(std::string("/") + name, "the same file has 2 names");
    std::filesystem::remove(file(name));
  }
  ASSERT_EQ(mkfifo(file("fenra.gate").c_str(), 0600), 0);
  expectUntouched("/fenra.gate", "it is no regular file");
  std::filesystem::remove(file("fenra.gate"));
  ASSERT_EQ(chmod(file("fenra.index").c_str(), 0666), 0);
  expectUntouched("/fenra.index", "everybody can write to it");
  ASSERT_EQ(chmod(file("fenra.index").c_str(), 0660), 0);
  ASSERT_EQ(chmod(path.c_str(), 01777), 0);
  expectUntouched("", "everybody can write to it; make it yours alone with chmod o-w");
  // What a group may do is up to the owner; other files are nobody's business.
  ASSERT_EQ(chmod(path.c_str(), 0775), 0);
  ASSERT_EQ(symlink(victim.c_str(), file("log.txt").c_str()), 0);
  EXPECT_EQ(openAndClose(), 0);
}

TEST_F(OwnershipTest, WhoOwnsItMayUseItAndRoot) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can be somebody else";
  }
  ASSERT_EQ(chmod(root.c_str(), 0755), 0);
  const auto give = [](const std::string& name, uid_t user) {
    ASSERT_EQ(chown(name.c_str(), user, user), 0);
  };
  const auto open_it = [this] { return openAndClose(); };
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    give(entry.path(), SOMEBODY);
  }
  give(path, SOMEBODY);
  EXPECT_EQ(resultFor(SOMEBODY, open_it), 0);
  ASSERT_EQ(chmod(path.c_str(), 0755), 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(resultFor(SOMEBODY_ELSE, open_it), EPERM);
  EXPECT_THAT(
      testing::internal::GetCapturedStderr(),
      AllOf(HasSubstr("it belongs to user 20001; open it as that user"), HasSubstr("user 20002")));
  EXPECT_EQ(openAndClose(), 0);
  // What a third one has put there even root does not take.
  give(file("fenra.gate"), SOMEBODY_ELSE);
  expectUntouched("/fenra.gate", "it belongs to user 20002, and the directory to user 20001");
}

TEST_F(OwnershipTest, ABuildTakesOverItsOwnLeftoversOnly) {
  const std::string target = root + "/bulk";
  const std::string beside = target + BUILD_SUFFIX;
  const auto begin_build = [&target] {
    ArticledbBulk* bulk = nullptr;
    const int status = articledb_bulk_new(&bulk, target.c_str(), 0);
    articledb_bulk_free(bulk);
    return status;
  };
  ASSERT_EQ(symlink(root.c_str(), beside.c_str()), 0);
  EXPECT_EQ(begin_build(), EPERM);
  std::filesystem::remove(beside);
  ASSERT_EQ(mkdir(beside.c_str(), 0700), 0);
  for (const mode_t mode : {01777, 0770, 0702}) {
    ASSERT_EQ(chmod(beside.c_str(), mode), 0);
    EXPECT_EQ(begin_build(), EPERM);
    EXPECT_EQ(std::filesystem::exists(beside), true);
  }
  // Of a compaction that was killed there may be what was the store.
  ASSERT_EQ(chmod(path.c_str(), 0770), 0);
  std::filesystem::copy(path, path + BUILD_SUFFIX);
  ASSERT_EQ(chmod((path + BUILD_SUFFIX).c_str(), 0770), 0);
  EXPECT_EQ(articledb_bulk_compact(path.c_str(), 0, nullptr, nullptr), 0);
  EXPECT_EQ(std::filesystem::exists(path + BUILD_SUFFIX), false);

  ASSERT_EQ(chmod(beside.c_str(), 0755), 0);
  if (geteuid() == 0) {
    ASSERT_EQ(chown(beside.c_str(), SOMEBODY, SOMEBODY), 0);
    EXPECT_EQ(begin_build(), EPERM);
    ASSERT_EQ(chown(beside.c_str(), 0, 0), 0);
  }
  EXPECT_EQ(begin_build(), 0);
  EXPECT_EQ(std::filesystem::exists(beside), false);
}

TEST_F(OwnershipTest, RootGivesACompactedStoreBack) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can be somebody else";
  }
  ASSERT_EQ(chmod(root.c_str(), 0755), 0);
  for (const std::string& name : {file("fenra.index"), path}) {
    ASSERT_EQ(chown(name.c_str(), SOMEBODY, SOMEBODY_ELSE), 0);
  }
  ASSERT_EQ(chmod(file("fenra.index").c_str(), 0640), 0);
  ASSERT_EQ(chmod(path.c_str(), 02750), 0);
  ASSERT_EQ(articledb_bulk_compact(path.c_str(), 0, nullptr, nullptr), 0);
  for (const auto& [name, mode] : {std::pair(file("fenra.index"), 0640U), {path, 02750U}}) {
    struct stat status = {};
    ASSERT_EQ(stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, SOMEBODY) << name;
    EXPECT_EQ(status.st_gid, SOMEBODY_ELSE) << name;
    EXPECT_EQ(status.st_mode & 07777, mode) << name;
  }
  EXPECT_EQ(resultFor(SOMEBODY, [this] { return openAndClose(); }), 0);
}

}  // namespace
