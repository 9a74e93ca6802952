// Creating, opening and closing stores; statistics, logs and the id counter.
#include "store_fixture.h"

namespace {

class EnvironmentTest : public StoreTest {};

TEST_F(EnvironmentTest, FailedCreationAndOpeningLeaveHandlesThatClose) {
  // An existing directory, and one without a parent.
  for (const std::string& bad : {path, root + "/a/b"}) {
    ArticledbDb* handle = articledb_db_new();
    testing::internal::CaptureStderr();
    EXPECT_EQ(articledb_db_create(handle, bad.c_str()), -1);
    EXPECT_EQ(handle->env, nullptr);
    EXPECT_EQ(articledb_db_close(handle), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  }
  std::filesystem::create_directory(root + "/full");
  std::filesystem::create_directory(root + "/full/fenra.index");
  for (const auto& [name, code, message] :
       {std::tuple("/none", ENOENT, "articledb_create error articledb:98.: No such file"),
        {"/full", EISDIR, "articledb_create error articledb:103.: "}}) {
    ArticledbDb* handle = articledb_db_new();
    testing::internal::CaptureStderr();
    const int status = articledb_db_open(handle, (root + name).c_str());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(message));
    EXPECT_NE(handle->env, nullptr);
    EXPECT_EQ(handle->urlidx, nullptr);
    EXPECT_TRUE(status == code || (status != 0 && code == EISDIR)) << status;
    EXPECT_EQ(articledb_db_close(handle), 0);
  }
  EXPECT_EQ(articledb_db_close(nullptr), 0);
}

TEST_F(EnvironmentTest, OpeningAnEmptyDirectoryMakesAStoreWithoutCounter) {
  close();
  path = root + "/empty";
  std::filesystem::create_directory(path);
  reopen();
  guint64 id = 77;
  testing::internal::CaptureStderr();
  EXPECT_EQ(articledb_transaction_next_id(t, &id), DB_NOTFOUND);
  EXPECT_EQ(articledb_db_max_id(db, &id), DB_NOTFOUND);
  EXPECT_EQ(index("u"), DB_NOTFOUND);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("DB_NOTFOUND"));
  EXPECT_EQ(id, 77U);
  EXPECT_THAT(keys(whole(articledb_db_get_urls)), IsEmpty());
}

TEST_F(EnvironmentTest, FailedCloseKeepsTheHandleAndLetsOthersRecover) {
  EXPECT_EQ(index("u", {"hitz"}), 0);
  EXPECT_EQ(url(1).substr(0, 2), "u|");
  ASSERT_EQ(db->env->set_flags(db->env, DB_PANIC_ENVIRONMENT, 1), 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(articledb_db_close(db), DB_RUNRECOVERY);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Errorea istean: articledb:204 (-309"));
  EXPECT_EQ(with(another(), [this] { return url(1).substr(0, 2); }), "u|");
  db->env->set_flags(db->env, DB_PANIC_ENVIRONMENT, 0);
}

TEST_F(EnvironmentTest, RemoveLogsKeepsTheStoreWhole) {
  const auto logs = [this] {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      count += entry.path().filename().string().rfind("log.", 0) == 0 ? 1 : 0;
    }
    return count;
  };
  ASSERT_EQ(articledb_db_remove_logs(db), 0);
  EXPECT_EQ(logs(), 1);
  std::string noise(300000, '\0');
  for (int i = 0; i < 120; ++i) {
    noise[static_cast<size_t>(i)] = 'x';
    ASSERT_EQ(articledb_transaction_put_url(t, noise.data(), static_cast<guint32>(noise.size()), 5),
              0);
  }
  EXPECT_GT(logs(), 2);
  ASSERT_EQ(articledb_db_remove_logs(db), 0);
  EXPECT_LE(logs(), 2);
  reopen();
  EXPECT_EQ(url(5), noise);
  close();
  verify();
}

}  // namespace
